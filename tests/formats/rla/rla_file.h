// RLA files made by hand, field by field, as the driver's oracle: nothing here calls it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/core/files.h"

namespace orb::testing {

// One image of 3 colour channels of 8 bits, window and active window 0 to width - 1, 0 to height - 1, of the
// current revision. Every block is made of literals of one sample, which no encoder would write.
class RlaFile {
 public:
  RlaFile();
  RlaFile& window(int width, int height);
  RlaFile& active(int left, int right, int bottom, int top);
  // A group: offsets of its count, type and bits in the header.
  RlaFile& color(int count, int type, int bits) { return group(20, 18, 658, count, type, bits); }
  RlaFile& matte(int count, int type, int bits) { return group(22, 660, 662, count, type, bits); }
  RlaFile& aux(int count, int type, int bits) { return group(24, 664, 666, count, type, bits); }
  RlaFile& older();
  RlaFile& text(size_t offset, const std::string& text);
  RlaFile& int16(size_t offset, int value);
  // Adds an image, which the calls that follow describe.
  RlaFile& next();

  [[nodiscard]] Bytes bytes() const;
  // The value of a sample's byte, the most significant being byte 0; for floats in the order of memory.
  [[nodiscard]] static uint8_t ramp(size_t image, int channel, int row, int column, int byte);
  [[nodiscard]] size_t position_of(size_t image) const;  // of its header, in bytes()

 private:
  struct Image {
    Bytes header;
  };
  RlaFile& group(size_t count_at, size_t type_at, size_t bits_at, int count, int type, int bits);
  [[nodiscard]] static int get16(const Bytes& header, size_t offset);
  [[nodiscard]] static Bytes rows_of(const Image& image, size_t index, size_t position);

  std::vector<Image> images_;
};

// A damaged copy.
[[nodiscard]] Bytes with_bytes(Bytes file, size_t offset, const Bytes& bytes);
[[nodiscard]] Bytes cut_at(const Bytes& file, size_t size);
[[nodiscard]] Bytes word(uint32_t value);

}  // namespace orb::testing
