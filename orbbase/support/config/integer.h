// Whole numbers as configuration files write them, in the same way in every locale.
#pragma once

#include <cstdint>

namespace orb::config {

// The number that text begins with, after white space and a sign; 0 when it begins with none. Numbers outside
// the range become the nearest one inside.
[[nodiscard]] int32_t leading_integer(const char* text);

// The number that is the whole of text, with an optional sign and nothing else. False, with *value_out
// untouched, when text is anything else or the number out of range.
[[nodiscard]] bool parse_integer(const char* text, int32_t* value_out);

}  // namespace orb::config
