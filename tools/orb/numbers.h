// Numbers out of text: all of it or nothing, whatever the locale.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>

namespace orb::tool {

template <class Number>
std::optional<Number> as_number(std::string_view text) {
  Number value = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, problem] = std::from_chars(text.data(), end, value);
  return problem == std::errc() && rest == end ? std::optional(value) : std::nullopt;
}

}  // namespace orb::tool
