#include "orbbase/operators/reduce_plan.h"

#include <algorithm>

#include "orbbase/operators/reduce_codes.h"

namespace orb::reduce {
namespace {

constexpr int64_t kMostPairSize = INT32_MAX;

// One direction of a window and its active window, from 0 on.
struct Extent {
  int64_t size;
  int64_t first;  // active pixels
  int64_t last;
};

Extent columns_of(const ORB_IFD& ifd) {
  const int64_t left = ifd.window.left;
  return {width_of(ifd), ifd.active_window.left - left, ifd.active_window.right - left};
}

Extent rows_of(const ORB_IFD& ifd) {
  const int64_t bottom = ifd.window.bottom;
  return {height_of(ifd), ifd.active_window.bottom - bottom, ifd.active_window.top - bottom};
}

// What pixels of this size cover of it. Products of a side of 2^32 with a smaller size fit.
Extent reduced(const Extent& full, int64_t size) {
  return {size, full.first * size / full.size, ((full.last + 1) * size - 1) / full.size};
}

Extent halved(const Extent& full) { return {full.size / 2 + full.size % 2, full.first / 2, full.last / 2}; }

ORB_IFD with_extents(const ORB_IFD& like, const Extent& columns, const Extent& rows) {
  ORB_IFD ifd = like;
  ifd.window = {0, static_cast<int32_t>(columns.size - 1), 0, static_cast<int32_t>(rows.size - 1)};
  ifd.active_window = {static_cast<int32_t>(columns.first), static_cast<int32_t>(columns.last),
                       static_cast<int32_t>(rows.first), static_cast<int32_t>(rows.last)};
  return ifd;
}

void set_picture_size(ORB_IFD& ifd, int64_t width, int64_t height) {
  ifd.pair_a[0] = static_cast<int32_t>(std::min(width, kMostPairSize));
  ifd.pair_a[1] = static_cast<int32_t>(std::min(height, kMostPairSize));
}

// To the nearest whole number, at least 1.
int64_t scaled_side(int64_t side, int64_t size, int64_t longer_side) {
  return std::max<int64_t>(1, (side * size + longer_side / 2) / longer_side);
}

bool covers(const Extent& file, const Extent& planned) {
  return file.size == planned.size && file.first <= planned.first && file.last >= planned.last;
}

bool same_channels(const ORB_CHANNELS& a, const ORB_CHANNELS& b) {
  if (a.count != b.count) return false;
  return a.count == 0 || (a.type == b.type && (a.type != ORB_C_INTEGER || a.width == b.width));
}

// Tables are held to be what the application gave all images.
bool same_curve(const ORB_RESPONSE_CURVE& a, const ORB_RESPONSE_CURVE& b) {
  return a.kind == b.kind && (a.kind != ORB_CURVE_GAMMA || usable_gamma(a) == usable_gamma(b));
}

}  // namespace

int64_t width_of(const ORB_IFD& ifd) { return int64_t{ifd.window.right} - ifd.window.left + 1; }
int64_t height_of(const ORB_IFD& ifd) { return int64_t{ifd.window.top} - ifd.window.bottom + 1; }

int32_t count_levels(const ORB_IFD& full, int32_t most_levels) {
  int32_t count = 1;
  for (int64_t side = std::max(width_of(full), height_of(full)); side > 1; side = (side + 1) / 2) ++count;
  return most_levels > 0 ? std::min(count, most_levels) : count;
}

ORB_IFD half_of(const ORB_IFD& level) {
  ORB_IFD half = with_extents(level, halved(columns_of(level)), halved(rows_of(level)));
  set_picture_size(half, width_of(half), height_of(half));
  return half;
}

ORB_IFD swatch_of(const ORB_IFD& full, int32_t size) {
  const int64_t width = width_of(full);
  const int64_t height = height_of(full);
  const int64_t longer = std::max(width, height);
  if (longer <= size) return full;
  const int64_t columns = scaled_side(width, size, longer);
  const int64_t rows = scaled_side(height, size, longer);
  ORB_IFD swatch = with_extents(full, reduced(columns_of(full), columns), reduced(rows_of(full), rows));
  set_picture_size(swatch, width, height);
  return swatch;
}

bool is_same_size(const ORB_IFD& a, const ORB_IFD& b) {
  return width_of(a) == width_of(b) && height_of(a) == height_of(b);
}

bool takes(const ORB_IFD& file, const ORB_IFD& planned) {
  return covers(columns_of(file), columns_of(planned)) && covers(rows_of(file), rows_of(planned)) &&
         (file.orientation & ORB_BOTTOM_UP) == (planned.orientation & ORB_BOTTOM_UP) &&
         same_channels(file.color, planned.color) && same_channels(file.matte, planned.matte) &&
         same_channels(file.aux, planned.aux) && same_curve(file.curve, planned.curve);
}

}  // namespace orb::reduce
