// Pictures made by code, written and read through the library: what the tests of the drivers share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orbbase/core.h"

namespace orb::testing {

// A description to be written, and the value of each of its samples. Starts as one image of 3 colour channels
// of 8 bits in the window 0..6, 0..4, from the bottom up.
struct Picture {
  explicit Picture(std::string file_name, const char* key = nullptr);

  Picture& window(ORB_WINDOW window);  // and the active window with it
  Picture& active(ORB_WINDOW window);
  Picture& top_down();
  Picture& no_channels();
  Picture& group(ORB_CHANNELS ORB_IFD::*group, int32_t count, uint32_t type, int32_t width);
  Picture& seed(uint8_t value);
  Picture& images(int32_t count);  // more of them, each a little smaller than the one before

  // The record for ORB_open; lends the picture's strings.
  ORB_INFO info() const;
  [[nodiscard]] ORB_IMAGE* open(const char* mode) const;
  // A byte of a sample, as the tests define it.
  [[nodiscard]] uint8_t sample_byte(int32_t image, int32_t channel, int32_t line, int64_t byte_in_row) const;

  std::string name;
  std::string key;
  std::vector<ORB_IFD> ifds;
  uint8_t seed_value = 1;
};

// The bytes a sample of a group takes in a row, by the documented table.
[[nodiscard]] size_t sample_bytes(const ORB_CHANNELS& group, bool is_index);

// The rows of one line filled with the picture's samples; ORB_chan_free.
[[nodiscard]] void** filled_rows(const Picture& picture, int32_t image, int32_t line);

// Writes one line of one image. Returns the driver's code.
int32_t write_line(ORB_IMAGE* handle, const Picture& picture, int32_t line, int32_t image = 0);

// Writes all lines in the handle's order and closes. Returns the first code that is not 0.
int32_t write_whole(const Picture& picture);

// Empty when the line reads as the picture's samples, with zeros outside the active window; else what
// differs.
[[nodiscard]] std::string compare_line(ORB_IMAGE* handle, const Picture& picture, int32_t line,
                                       int32_t image = 0);

// Opens the picture's name and compares all lines of all images in the handle's order, then closes.
[[nodiscard]] std::string compare_whole(const Picture& picture);

// All that a file may hold of a description: equal texts for equal ones.
[[nodiscard]] std::string described(const ORB_INFO& info);

// The groups, types, widths, windows and orders that every driver for any image must carry.
[[nodiscard]] std::vector<Picture> every_kind_of_picture(const std::string& file_name);

}  // namespace orb::testing
