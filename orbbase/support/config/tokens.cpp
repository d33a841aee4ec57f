// How a line of the configuration file falls into words.
#include "orbbase/support/config/tokens.h"

namespace orb::config {
namespace {

constexpr char kEscape = 27;

constexpr bool is_quote(char c) { return c == '"' || c == '\'' || c == kEscape; }

}  // namespace

int32_t split_tokens(char* text, std::span<char*, kMostTokens + 1> tokens) {
  int32_t count = 0;
  char* p = text;
  while (count < kMostTokens) {
    while (is_space(*p)) ++p;
    if (*p == '\0') break;
    const char quote = is_quote(*p) ? *p++ : '\0';
    tokens[static_cast<size_t>(count++)] = p;
    if (quote)
      while (*p != '\0' && *p != quote) ++p;
    else
      while (is_graphic(*p)) ++p;
    if (*p == '\0') break;
    *p++ = '\0';
  }
  tokens[static_cast<size_t>(count)] = nullptr;
  return count;
}

}  // namespace orb::config
