// The description's texts and the few numbers that a PNG has no chunk for, as the file's keyword texts.
#pragma once

#include <cstdint>

#include "codec.h"
#include "layout.h"
#include "orbbase/core.h"

namespace orb::png {

// Takes the texts that stand before the picture into the handle's description; others are noted. width_out
// receives the sample width that a text declares, or 0. False when memory ran out (orb__err -10, reported).
[[nodiscard]] bool take_texts(Codec& codec, ORB_IMAGE& image, int32_t* width_out);

// Notes the texts after the first count: those behind the picture come too late for the description.
void note_late_texts(Codec& codec, int first_count);

// Hands the description's texts to the codec for writing. Those that are not UTF-8 are replaced in the handle
// by what is stored. False on failure: reported, with orb__err set.
[[nodiscard]] bool put_texts(Codec& codec, ORB_IMAGE& image, const Layout& layout);

}  // namespace orb::png
