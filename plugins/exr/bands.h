// Bands of a part: what is decoded at once, a chunk of lines or a row of tiles.
#pragma once

#include <cstdint>

#include "read.h"

namespace orb::exr {

// Makes the current band hold a line of the data, counted from its first. 0, or a code, reported; line: as the
// description counts it.
[[nodiscard]] int32_t load_band(const ReadPart& read, int64_t data_line, int32_t line);

}  // namespace orb::exr
