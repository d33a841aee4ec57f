// How the samples of an image lie in a PNG.
#pragma once

#include <cstdint>

#include "orbbase/core.h"

namespace orb::png {

// Says in a text of the file that its samples are of this many bits, scaled up to what a PNG can store; an
// sBIT chunk says the same. Both must be there for a reader to take the bits away again.
inline constexpr const char* kWidthKeyword = "orbbase:width";

struct Layout {
  int32_t colours;       // colour channels of the description: 1 or 3, or 0 with indices
  int32_t mattes;        // 0 or 1
  bool has_indices;      // one channel of palette indices
  int32_t width;         // bits of a sample in the description
  int32_t depth;         // bits of a sample in the file: 1, 2, 4, 8 or 16
  int32_t color_type;    // PNG_COLOR_TYPE_
  int32_t file_samples;  // samples of a pixel in the file

  [[nodiscard]] bool is_scaled() const { return width != depth; }
  [[nodiscard]] int64_t sample_bytes() const { return depth > 8 ? 2 : 1; }
  // One unpacked row as the codec library takes or gives it.
  [[nodiscard]] uint64_t row_bytes(uint64_t pixels) const {
    return pixels * static_cast<uint64_t>(file_samples) * static_cast<uint64_t>(sample_bytes());
  }
};

// Finds how the groups of a description are stored. False when a PNG cannot hold them; reported, orb__err
// -16.
[[nodiscard]] bool choose_layout(const ORB_IFD& ifd, Layout* out);

// The depth of a PNG with this many samples a pixel that holds samples of width bits, 1 to 16.
int32_t depth_for(int32_t width, int32_t file_samples);

}  // namespace orb::png
