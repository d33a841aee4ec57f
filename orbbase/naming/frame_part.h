// The frame part of a format string, and the frame number that a name carries in its shape.
#pragma once

#include "orbbase/naming/internal.h"

namespace orb::naming {

// Literal texts, "%" single, around one conversion.
struct FramePart {
  std::string_view prefix;
  Conversion conversion;
  std::string_view tail;
};

// What stands between the last "%s" of a format string, one at its very end left aside, and its end.
std::string_view frame_part_of(std::string_view format_string);

// Takes a frame part apart. buffer has room for text and holds the literals. False when it is not valid.
[[nodiscard]] bool parse_frame_part(std::string_view text, std::span<char> buffer, FramePart& part);

// What a base name without its extension says of the frame.
struct FrameInName {
  bool is_found = false;
  int32_t number = -1;  // -1: a place for the number, but none
  size_t kept;          // characters of the base name before the frame part
};

// Looks for the frame in a base name, and changes the part to the shape in which the name has it.
// had_extension: an extension has been cut off the name.
FrameInName find_frame(std::string_view base_name, bool had_extension, FramePart& part);

}  // namespace orb::naming
