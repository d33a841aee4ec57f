// Real numbers as configuration files and picture headers write them.
#pragma once

namespace orb::config {

// Reads a real number that is the whole of text: leading white space, a sign, digits with a point somewhere
// among them, and an exponent of D, E, d or e, a sign and one or two digits; of these only a digit is
// required. The point is "." in every locale. The number is the digits' value times exp(exponent
// * 2.3025851), which is a power of ten only nearly, as a float; one too large for a float becomes infinite.
// False, with *value_out untouched, when text is anything else, trailing white space included.
[[nodiscard]] bool parse_real(const char* text, float* value_out);

}  // namespace orb::config
