// Writing a JPEG: opening, rows and closing.
#pragma once

#include <cstdint>

#include "codec.h"
#include "orbbase/core.h"

namespace orb::jpeg {

// The body of imageWriteOpen. False on failure: reported, with orb__err set, and no file left that was not
// there before.
[[nodiscard]] bool write_open(ORB_IMAGE& image);

}  // namespace orb::jpeg
