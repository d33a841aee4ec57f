// Numbers as RLA headers write them, the point being "." in every locale.
#pragma once

#include <cstddef>
#include <span>

namespace orb::rla {

// Appends a number with so many decimals, filled up with blanks on its left to a width: printf's "%7.4f" is
// width 7 with 4 decimals. text holds a terminated text; if that is not empty, a blank comes between. What does
// not fit is cut.
void append_number(std::span<char> text, size_t width, int decimals, double value);

// Reads two numbers behind blanks, as scanf's "%f %f" does: one that does not read leaves itself and what follows
// untouched, and so do numbers that are not finite. Returns how many were read.
int read_pair(const char* text, float* first_out, float* second_out);

}  // namespace orb::rla
