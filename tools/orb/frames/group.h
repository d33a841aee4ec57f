// Which of the numbers that differ in nothing else than themselves are frames of one sequence.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "range.h"

namespace orb::frames {

// A frame number as it was written.
struct WrittenFrame {
  Frame frame = 0;
  uint8_t length = 0;      // characters, sign included
  bool is_padded = false;  // begins with a 0 that it does not need
};
[[nodiscard]] WrittenFrame written_frame(Frame frame, std::string_view number);

struct WidthGroup {
  size_t width = 0;
  std::vector<Frame> frames;  // ascending, each once
};

// Numbers with padding say what width they have. One without belongs to the widest of those widths that is not over
// its length; where there is none, to the others like it, whose width is that of the shortest.
[[nodiscard]] std::vector<WidthGroup> group_by_width(const std::vector<WrittenFrame>& numbers);

}  // namespace orb::frames
