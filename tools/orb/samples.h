// The samples of scanlines, whatever their type, as doubles.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "orbbase/core.h"

namespace orb::tool {

// One channel of an image, in the order of its row pointers.
struct Channel {
  int group;       // 0 colour, 1 matte, 2 auxiliary, 3 index
  int32_t number;  // within the group, from 0
  uint32_t type;
  int32_t width;
  double whole;  // the sample that stands for 1: the greatest of an integer's width, 1 for real numbers
};

[[nodiscard]] std::vector<Channel> channels_of(const ORB_IFD& ifd);

// "colour 0"
[[nodiscard]] std::string name_of(const Channel& channel);
// "integer"
[[nodiscard]] std::string type_text(uint32_t type);
// "integer 8 bits", "float"
[[nodiscard]] std::string form_text(uint32_t type, int32_t width);
[[nodiscard]] inline std::string form_of(const Channel& channel) {
  return form_text(channel.type, channel.width);
}

// Bytes of one sample in a row.
[[nodiscard]] size_t sample_bytes(const Channel& channel);
// Bytes of one pixel, all channels together.
[[nodiscard]] uint64_t pixel_bytes(const ORB_IFD& ifd);

// Samples of a row from a column on, as they stand; every integer is exact in a double.
void load_samples(const Channel& channel, const void* row, size_t first, std::span<double> samples_out);

// The reverse of it. What lies outside the range of an integer's width becomes the nearer end, fractions are
// rounded to the nearest.
void store_samples(const Channel& channel, std::span<const double> samples, void* row, size_t first);

}  // namespace orb::tool
