// The screen of an animation at one frame, composed from the frames before it.
#pragma once

#include <gif_lib.h>

#include <cstdint>
#include <cstdio>

#include "frames.h"
#include "layout.h"

namespace orb::gif {

// What composing works on. Plain data; starts zeroed.
struct Screen {
  std::FILE* file;   // lent; a place can be sought in it
  const char* path;  // lent, for reports
  GifFileType* codec;
  Contents contents;
  Layout layout;
  uint8_t* pixels;   // the whole screen, rows from the top; ERR_free
  uint8_t* saved;    // what a frame covers that is taken away again; null when there is none; ERR_free
  uint8_t* row;      // one row of a frame; ERR_free
  int32_t composed;  // the frame, from 1, that pixels shows; 0: none
  int32_t failed;    // the frame that cannot be drawn, from 1; 0: none is known
  int32_t failure;   // its code
  bool is_used;      // something was drawn since the memory of pixels was taken
  bool is_cut;       // the codec asked for bytes that the file does not have

  [[nodiscard]] uint64_t row_bytes() const {
    return static_cast<uint64_t>(contents.width) * layout.pixel_bytes();
  }
  [[nodiscard]] uint8_t* at(int32_t column, int32_t row_from_top) const {
    return pixels + static_cast<uint64_t>(row_from_top) * row_bytes() +
           static_cast<uint64_t>(column) * layout.pixel_bytes();
  }
};

// Takes the memory of a screen whose file, contents and layout are there, within the limits; other_bytes are
// held by the handle beside it. False, reported, with orb__err -10, or -8 when the codec cannot begin.
[[nodiscard]] bool make_screen(Screen& screen, uint64_t other_bytes);

// Makes the pixels those of the frame, counted from 1. Returns 0, or, reported, -7 for damaged data, -18 for
// bytes that are not there; what the pixels show is then lost. A frame that failed is not tried, nor reported,
// again.
[[nodiscard]] int32_t compose(Screen& screen, int32_t frame);

// Releases everything but the file.
void release_screen(Screen& screen);

}  // namespace orb::gif
