// Open images made for the tests of operators: kept by the memory driver, read and written through handles.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "orbbase/core/internal.h"
#include "orbbase/operators.h"
#include "tests/core/picture.h"
#include "tests/support/image_owner.h"

namespace orb::testing {

// A response curve that is one power.
inline ORB_RESPONSE_CURVE gamma_curve(float gamma) {
  return {ORB_CURVE_GAMMA, gamma, 0, 0, 0, 0, 0, nullptr};
}

// The same by tables.
struct Table : ORB_RESPONSE_CURVE {
  Table(float power, int32_t channels, int32_t entries, int32_t bits, int32_t type = ORB_C_INTEGER)
      : ORB_RESPONSE_CURVE{ORB_CURVE_GAMMA, power, 0, channels, entries, type, bits, nullptr} {
    EXPECT_EQ(ORB_response_curve_init(this), 0);
  }
  ~Table() { ORB_response_curve_done(this); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
};

inline Image open_to_read(const Picture& picture) { return Image(picture.open("r")); }
inline Image open_to_write(const Picture& picture) { return Image(picture.open("w")); }

// A picture written under its name and opened again. The sample bytes are the picture's, by its own rule.
inline Image open_written(const Picture& picture) {
  return write_whole(picture) == 0 ? open_to_read(picture) : nullptr;
}

inline size_t window_width(const ORB_IFD& ifd) {
  return static_cast<size_t>(int64_t{ifd.window.right} - ifd.window.left + 1);
}

template <class Sample>
using Line = std::vector<std::vector<Sample>>;  // the rows of its channels

// One line read whole through a handle, or empty when it cannot be. Sample is what the rows are stored in.
template <class Sample>
Line<Sample> read_line(ORB_IMAGE* image, int32_t line, int32_t channels, size_t width) {
  void** rows = nullptr;
  if (ORB_scan_read(image, line, &rows) != 0) return {};
  Line<Sample> read(static_cast<size_t>(channels), std::vector<Sample>(width));
  for (std::vector<Sample>& row : read) std::memcpy(row.data(), *rows++, width * sizeof(Sample));
  return read;
}

// Writes a line of samples, which the call may change.
template <class Sample>
int32_t write_samples(ORB_IMAGE* image, int32_t line, Line<Sample>& rows) {
  std::vector<void*> pointers;
  for (std::vector<Sample>& row : rows) pointers.push_back(row.data());
  return ORB_scan_write(image, line, pointers.data());
}

// A handle's driver with the lines noted that are sought and read, and in order only if so wished. One at a time.
struct Watched {
  explicit Watched(ORB_IMAGE* image) : scan(image->scan) {
    the = this;
    image->scan = [](void* data, int32_t line, void* rows) {
      if (the->is_sequential && line != the->next++) return ORB_E_SCANLINE + 0;
      the->read.push_back(line);
      return line == the->failing ? fail(ORB_E_READ) : the->scan(data, line, rows);
    };
    image->seek = [](void*, int32_t line) {
      the->sought.push_back(the->next = line);
      return 0;
    };
  }
  ORB_SCAN_FN scan;
  std::vector<int32_t> sought, read;
  bool is_sequential = false;
  int32_t next = 0;
  int32_t failing = INT32_MIN;
  static inline Watched* the = nullptr;
};

}  // namespace orb::testing
