// An open image as a small picture for the terminal.
#pragma once

#include <string>

#include "box_average.h"
#include "image.h"

namespace orb::tool {

// The image, made smaller until it fits, with its pixel aspect made good; never made larger. It is read a few rows at
// a time; the matte is not applied. Throws Failure, reported; name is for messages.
[[nodiscard]] Picture shrunk(Image& reader, const std::string& name, int32_t most_width, int32_t most_height);

}  // namespace orb::tool
