// Numbers in a file's texts.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>

namespace orb::plugin {

// A whole number or a decimal fraction in the C locale; none when anything else stands in the text.
template <class T>
std::optional<T> number_from_text(std::string_view text) {
  T value{};
  const char* end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return value;
}

}  // namespace orb::plugin
