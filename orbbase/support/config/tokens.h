// How a line of the configuration file falls into words. Characters are told apart as in the C locale.
#pragma once

#include <cstdint>
#include <span>

namespace orb::config {

// One more than the limit is taken.
inline constexpr int32_t kTokenLimit = 16;
inline constexpr int32_t kMostTokens = kTokenLimit + 1;

constexpr bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_graphic(char c) { return c > ' ' && c < '\x7f'; }

// Splits text in place: tokens receives the addresses of its words and a null behind them. A word is a run of
// printable characters, or what lies between two double quotes, two single quotes or two escape characters,
// or behind one of them to the end of the text. Any other character ends a word, an empty one where none had
// begun. Returns the number of words, at most kMostTokens; what follows them is dropped.
int32_t split_tokens(char* text, std::span<char*, kMostTokens + 1> tokens);

}  // namespace orb::config
