// What lies where in a GIF: the blocks walked once, without decoding a pixel.
#pragma once

#include <cstdint>
#include <cstdio>

#include "plugins/common/stream.h"

namespace orb::gif {

struct Colours {
  uint8_t rgb[256][3];
  int32_t bits;  // 1 to 8; 0: there are none

  [[nodiscard]] int32_t count() const { return bits == 0 ? 0 : 1 << bits; }
};
[[nodiscard]] bool is_same(const Colours& a, const Colours& b);

// A rectangle of the screen.
struct Rect {
  int32_t left;
  int32_t top;  // rows count downward
  int32_t width;
  int32_t height;

  [[nodiscard]] uint64_t area() const { return static_cast<uint64_t>(width) * static_cast<uint64_t>(height); }
};

// What is done with a frame's rectangle before the next frame is drawn. Every other number does nothing.
enum Disposal : uint8_t { kLeave = 0, kClear = 2, kRestore = 3 };

struct Frame {
  int64_t at;           // place of its descriptor in the file
  int64_t data_bytes;   // of its pixels, as far as the file has them
  int32_t key;          // the frame, counted from 0, from which this one can be composed on an empty screen
  int16_t transparent;  // index of the pixels that are not drawn; -1: all are
  uint16_t left;
  uint16_t top;
  uint16_t width;
  uint16_t height;
  uint16_t delay;  // hundredths of a second
  uint8_t disposal;

  [[nodiscard]] Rect rect() const { return {left, top, width, height}; }
};

constexpr uint32_t kMostCommentBytes = 65536;

// A file's contents. Plain data; starts zeroed.
struct Contents {
  int32_t width;
  int32_t height;
  uint8_t aspect;       // 0: not declared
  Colours colours;      // of the first frame
  bool is_one_palette;  // serves all frames
  Frame* frames;        // ERR_free
  uint32_t frame_capacity;
  int32_t frame_count;
  bool has_end;     // the end mark was met
  int32_t repeats;  // after the first showing; 0: for ever; -1: not declared
  char* comments;   // joined by line ends; null without any; ERR_free
  uint32_t comment_bytes;
};

// Reads the file from its first byte to its end mark, or to where it is cut or makes no sense: then without
// has_end, as long as there was a frame. Remarks on what the file holds and nobody will keep.
//
// False, reported, with orb__err set: -8 not a GIF, or one without a picture; -18 cut before the first
// picture; -10 out of memory or over a limit. contents may hold something all the same.
[[nodiscard]] bool read_contents(std::FILE* file, plugin::Stream& stream, Contents& contents);

void release_contents(Contents& contents);

}  // namespace orb::gif
