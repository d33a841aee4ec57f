// Open images made for the tests of operators: kept by the memory driver, read and written through handles.
#pragma once

#include <cstring>
#include <vector>

#include "orbbase/operators.h"
#include "tests/core/picture.h"
#include "tests/support/image_owner.h"

namespace orb::testing {

// A response curve that is one power.
inline ORB_RESPONSE_CURVE gamma_curve(float gamma) {
  ORB_RESPONSE_CURVE curve = {};
  curve.kind = ORB_CURVE_GAMMA;
  curve.gamma = gamma;
  return curve;
}

// A picture written under its name and opened again. The sample bytes are the picture's, by its own rule.
inline Image open_written(const Picture& picture) {
  if (write_whole(picture) != 0) return nullptr;
  ORB_INFO info = picture.info();
  return Image(ORB_open(&info, "r"));
}

inline Image open_to_write(const Picture& picture) {
  ORB_INFO info = picture.info();
  return Image(ORB_open(&info, "w"));
}

inline size_t window_width(const ORB_IFD& ifd) {
  return static_cast<size_t>(int64_t{ifd.window.right} - ifd.window.left + 1);
}

// A row of samples as a copy; Sample is what the row is stored in.
template <class Sample>
std::vector<Sample> row_samples(const void* row, size_t count) {
  std::vector<Sample> samples(count);
  std::memcpy(samples.data(), row, count * sizeof(Sample));
  return samples;
}

// One line read whole through a handle, or empty when it cannot be.
template <class Sample>
std::vector<std::vector<Sample>> read_line(ORB_IMAGE* image, int32_t line, int32_t channels, size_t width) {
  void** rows = nullptr;
  std::vector<std::vector<Sample>> line_rows;
  if (ORB_scan_read(image, line, &rows) != 0) return line_rows;
  for (int32_t i = 0; i < channels; ++i) line_rows.push_back(row_samples<Sample>(rows[i], width));
  return line_rows;
}

}  // namespace orb::testing
