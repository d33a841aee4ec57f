// Gamma, primaries, pixel aspect ratio and the window's place: between the file's chunks and the description.
#pragma once

#include <cstdint>

#include "codec.h"
#include "orbbase/core.h"

namespace orb::png {

// Fills the description from the chunks before the picture. What the file does not declare keeps the
// library's default and is marked in word_e.
void take_metadata(Codec& codec, ORB_IMAGE& image);

// The window of a picture of this size: at 0, 0, or where an offset in pixels puts it.
ORB_WINDOW take_window(Codec& codec, uint32_t width, uint32_t height);

// Hands the description's values to the codec for writing, but for those marked in word_e. The handle's
// description then says what a reader will find; what cannot be stored is reported as a WARNING. False when
// the codec fails: reported, with orb__err set.
[[nodiscard]] bool put_metadata(Codec& codec, ORB_IMAGE& image);

}  // namespace orb::png
