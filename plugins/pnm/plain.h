// Rows of numbers in text.
#pragma once

#include <cstdint>
#include <cstdio>

#include "kinds.h"

namespace orb::pnm {

enum class PlainEnd { ok, file_ends, bad_byte, too_large };

// Reads the numbers of one row into samples of one byte, or two where they have more than 8 bits, pixel by
// pixel. Of black and white, digits may stand side by side, and 1 is black. After file_ends the stream knows
// whether it could be read.
[[nodiscard]] PlainEnd read_plain_row(std::FILE* file, const Header& header, uint8_t* packed);

// Writes such a row in lines of at most 70 characters. False when the stream takes no more.
[[nodiscard]] bool write_plain_row(std::FILE* file, const Header& header, const uint8_t* packed);

}  // namespace orb::pnm
