// The private tag: "key=value" lines for what the format has no tag of its own.
#pragma once

#include <cstdint>
#include <string_view>

#include "orbbase/core.h"
#include "plugins/common/memory.h"

namespace orb::tiff {

// Takes the lines of one page into the description; with the first page those of the file. Lines that it does
// not know or cannot read are passed over. False when memory ran out (orb__err -10).
[[nodiscard]] bool take_lines(ORB_IMAGE& image, int32_t index, std::string_view text);

// The lines of one page of a settled description, zero-terminated; "" when there is nothing to say. Null when
// memory ran out.
[[nodiscard]] plugin::owned<char> make_lines(ORB_IMAGE& image, int32_t index);

}  // namespace orb::tiff
