// Makes a picture smaller: each pixel is the average of the pixels whose place it takes.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace orb::tool {

// 8-bit RGB, from the top down.
struct Picture {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> rgb;

  [[nodiscard]] const uint8_t* pixel(int32_t column, int32_t row) const {
    return rgb.data() +
           3 * (static_cast<size_t>(row) * static_cast<size_t>(width) + static_cast<size_t>(column));
  }
};

// Rows of RGB pixels come in one by one, in any order; memory grows with the small picture alone.
class BoxAverage {
 public:
  // The small picture is no wider and no higher, and at least 1 x 1.
  BoxAverage(int64_t from_width, int64_t from_height, int32_t width, int32_t height);

  void add_row(int64_t row_from_top, std::span<const uint8_t> rgb);
  // Once every row is in.
  [[nodiscard]] Picture picture() const;

 private:
  [[nodiscard]] int64_t first_column(int64_t column) const { return column * from_width_ / width_; }
  [[nodiscard]] int64_t first_row(int64_t row) const { return row * from_height_ / height_; }

  int64_t from_width_;
  int64_t from_height_;
  int32_t width_;
  int32_t height_;
  std::vector<uint64_t> sums_;  // of the components of each small pixel
};

}  // namespace orb::tool
