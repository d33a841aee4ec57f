// Numbers as a test compares them, with a point under any locale.
#pragma once

#include <charconv>
#include <string>

namespace orb::testing {

// With six decimals.
inline std::string number_text(double value) {
  char text[400];
  return {text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr};
}

}  // namespace orb::testing
