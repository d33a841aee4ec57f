// What the frames of a file add up to: where composing may begin, whether the screen can stay bare, and so
// the channels that a reader gives out.
#pragma once

#include <cstdint>

#include "frames.h"
#include "settings.h"

namespace orb::gif {

enum class View {
  colours,  // 3 channels of 8 bits
  grey,     // the palette is the ramp from black to white: an index is its grey
  indices,
};

struct Layout {
  View view;
  bool has_matte;    // with colours
  bool can_be_bare;  // some pixel of some frame may have been drawn by nobody
  uint8_t bare;      // the index of such pixels
  int32_t bits;      // of a sample

  [[nodiscard]] bool holds_indices() const { return view != View::colours; }
  [[nodiscard]] uint64_t pixel_bytes() const { return holds_indices() ? 1 : 4; }
};

// The part of the frame that is on the screen; without pixels, area 0 at 0, 0.
[[nodiscard]] Rect on_screen(const Contents& contents, const Frame& frame);

// Whether nothing of the frames before it can be seen while it is shown.
[[nodiscard]] bool hides_all(const Contents& contents, const Frame& frame);

// Fills in each frame's key, and tells whether the screen can be bare.
[[nodiscard]] bool find_keys(Contents& contents);

// Whether each pixel's index says all about its colour, for all frames alike.
[[nodiscard]] bool can_give_indices(const Contents& contents, bool can_be_bare);

[[nodiscard]] Layout choose_layout(const Contents& contents, bool can_be_bare, Palette wanted);

// Entry i of the grey palette of so many bits.
[[nodiscard]] constexpr uint8_t grey_of(int32_t i, int32_t bits) {
  const int32_t most = (1 << bits) - 1;
  return static_cast<uint8_t>((i * 255 + most / 2) / most);
}

}  // namespace orb::gif
