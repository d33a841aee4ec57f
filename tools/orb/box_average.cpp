// Makes a picture smaller by averages.
#include "box_average.h"

namespace orb::tool {

BoxAverage::BoxAverage(int64_t from_width, int64_t from_height, int32_t width, int32_t height)
    : from_width_(from_width),
      from_height_(from_height),
      width_(width),
      height_(height),
      sums_(3 * static_cast<size_t>(width) * static_cast<size_t>(height)) {}

void BoxAverage::add_row(int64_t row_from_top, std::span<const uint8_t> rgb) {
  // The small row whose first large row is the last one at or above this.
  const int64_t row = ((row_from_top + 1) * height_ - 1) / from_height_;
  uint64_t* sums = sums_.data() + 3 * static_cast<size_t>(row) * static_cast<size_t>(width_);
  const uint8_t* in = rgb.data();
  for (int32_t column = 0; column < width_; ++column, sums += 3) {
    const uint8_t* const end = rgb.data() + 3 * first_column(column + int64_t{1});
    for (; in < end; in += 3) {
      sums[0] += in[0];
      sums[1] += in[1];
      sums[2] += in[2];
    }
  }
}

Picture BoxAverage::picture() const {
  Picture picture = {width_, height_, std::vector<uint8_t>(sums_.size())};
  size_t at = 0;
  for (int64_t row = 0; row < height_; ++row) {
    const auto rows = static_cast<uint64_t>(first_row(row + 1) - first_row(row));
    for (int64_t column = 0; column < width_; ++column) {
      const uint64_t count = rows * static_cast<uint64_t>(first_column(column + 1) - first_column(column));
      for (const size_t end = at + 3; at < end; ++at) {
        picture.rgb[at] = static_cast<uint8_t>((sums_[at] + count / 2) / count);
      }
    }
  }
  return picture;
}

}  // namespace orb::tool
