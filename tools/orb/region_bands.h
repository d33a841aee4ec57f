// A rectangle of an image in a pixel layout, read a few rows at a time, so that memory does not grow with its height.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "image.h"

namespace orb::tool {

class RegionBands {
 public:
  static constexpr int64_t kMostRows = 17;

  // layout is one of ORB_REGION_. The reader may be another handle after a read; it outlives this.
  RegionBands(Image& reader, std::string name, const ORB_WINDOW& rectangle, uint32_t layout,
              size_t pixel_bytes);

  // The pixels of a row, counted from the rectangle's bottom, 0 outside the image's active window; valid until the
  // next call. Rows in the order of the file are read once. Throws Failure, reported.
  [[nodiscard]] std::span<const uint8_t> row(int64_t above_bottom);

 private:
  void fetch(int64_t line);

  Image& reader_;
  std::string name_;
  ORB_WINDOW rectangle_;
  uint32_t layout_;
  size_t row_bytes_;
  int64_t first_ = 0;  // lines that are held, none at first
  int64_t last_ = -1;
  std::vector<uint8_t> pixels_;
};

}  // namespace orb::tool
