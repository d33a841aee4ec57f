// The packed rows of a page, decoded or read as they are, a band of them at a time.
#pragma once

#include "read.h"

namespace orb::tiff {

// Sees to it that the current page's band holds a row of the file. 0; or a code, reported with the scanline.
[[nodiscard]] int32_t load_band(Reader& reader, const Page& page, uint32_t row, int32_t line);

}  // namespace orb::tiff
