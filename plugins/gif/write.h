// Writing: the open call.
#pragma once

#include "orbbase/core.h"

namespace orb::gif {

// The body of imageWriteOpen. False on failure: reported, with orb__err set, and no file left that was not
// there before.
[[nodiscard]] bool write_open(ORB_IMAGE& image);

}  // namespace orb::gif
