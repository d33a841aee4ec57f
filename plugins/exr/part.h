// One part of an OpenEXR file: where its windows are, how its samples lie in chunks, and which channels of a
// description they are.
#pragma once

#include <cstdint>

#include "channels.h"
#include "codec.h"
#include "orbbase/core.h"

namespace orb::exr {

// The format counts lines downward, a description upward. Both agree in the display window: its first line here
// is its last there, and both have the same numbers. mirror is the sum of its first and last line.
struct Lines {
  int64_t mirror;

  [[nodiscard]] int32_t mirrored(int64_t line) const { return static_cast<int32_t>(mirror - line); }
};

// Where a part's samples are: windows as a description has them. picture: the display window.
struct Place {
  Lines lines;
  ORB_WINDOW window;
  ORB_WINDOW active;
  ORB_WINDOW picture;
};

// The box attribute for a window that the other two do not tell.
inline constexpr const char* kWindowAttribute = "orbbaseWindow";

// Whether both sides are such as a window of rows may have.
bool has_pixels(const ORB_WINDOW& window);
bool lies_within(const ORB_WINDOW& inner, const ORB_WINDOW& outer);
bool is_same(const ORB_WINDOW& a, const ORB_WINDOW& b);
ORB_WINDOW united(const ORB_WINDOW& a, const ORB_WINDOW& b);

// One channel in a band.
struct Plane {
  const char* name;  // the codec library's, or the writer's
  exr_pixel_type_t type;
  int32_t row;
  uint64_t offset_pixels;  // bytes before it, for each pixel of the band

  [[nodiscard]] uint64_t sample_bytes() const { return type == EXR_PIXEL_HALF ? 2 : 4; }
};

// Samples of a chunk, or of a row of tiles, on their way: one channel behind the other, each line by line;
// those of 4 bytes a sample come first.
struct Band {
  int32_t lines;  // most in a band
  int32_t width;
  int32_t across;        // tiles side by side; 0: the file has no tiles
  int32_t tile_width;    //
  uint64_t pixel_bytes;  // of all channels

  // More than any limit allows when the product is beyond counting.
  [[nodiscard]] uint64_t bytes() const {
    const uint64_t pixels = static_cast<uint64_t>(lines) * static_cast<uint64_t>(width);
    return pixels > UINT64_MAX / 8 / pixel_bytes ? UINT64_MAX / 8 : pixels * pixel_bytes;
  }
  [[nodiscard]] uint64_t plane_at(const Plane& plane) const {
    return static_cast<uint64_t>(lines) * static_cast<uint64_t>(width) * plane.offset_pixels;
  }
};

struct Part {
  Place place;
  Band band;
  Plane* planes;  // in the file's order; freed with the part
  int32_t plane_count;
};

// Numbers the bytes of a pixel. False when a row is longer than the codec library counts.
[[nodiscard]] bool lay_out_band(Part& part);

// Holds what a part takes while it is decoded or encoded against the limits.
[[nodiscard]] bool is_within_limits(const Part& part, const ORB_IFD& ifd, const char* call);

// The row of a window in the description, counted in the file's lines from the first of its data.
inline int64_t data_line(const Part& part, int32_t line) { return int64_t{part.place.active.top} - line; }

// Finds out what a part is and describes it. False when it cannot be read: reported, with orb__err set.
[[nodiscard]] bool take_part(Codec& codec, int32_t index, Part& part, ORB_IFD& ifd);

}  // namespace orb::exr
