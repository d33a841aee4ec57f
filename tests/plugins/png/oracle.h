// PNG files made and read by the codec library itself, without the plug-in: what the plug-in is held against.
#pragma once

#include <png.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orb::testing {

using Bytes = std::vector<uint8_t>;

// A picture as a file stores it: samples of depth bits, pixel by pixel, rows from the top.
struct Stored {
  uint32_t width = 0;
  uint32_t height = 0;
  int color_type = PNG_COLOR_TYPE_GRAY;
  int depth = 8;
  bool is_interlaced = false;
  std::vector<uint16_t> samples;

  [[nodiscard]] int channels() const;
  [[nodiscard]] uint16_t at(uint32_t column, uint32_t row, int channel) const {
    return samples[(row * width + column) * static_cast<uint32_t>(channels()) +
                   static_cast<uint32_t>(channel)];
  }
};

// Noise that holds every value of the depth sooner or later.
Stored noise(uint32_t width, uint32_t height, int color_type, int depth, bool is_interlaced = false);

using Decorate = std::function<void(png_structp, png_infop)>;

// The file's bytes. decorate may set further chunks before they are written; a palette picture without a
// palette of its own gets one of all indices.
Bytes encode(const Stored& picture, const Decorate& decorate = nullptr);

// What a file holds. inspect sees the codec's structures after the whole file was read.
Stored decode(const Bytes& file, const Decorate& inspect = nullptr);

// One chunk with the right check sum.
Bytes chunk(std::string_view name, std::string_view data);
// Where a chunk begins (its length field), or the file's size. from: where the search starts.
size_t find_chunk(const Bytes& file, std::string_view name, size_t from = 8);
Bytes insert_at(Bytes file, size_t offset, const Bytes& what);
// The signature and a header chunk, nothing else.
Bytes header_only(uint32_t width, uint32_t height, uint8_t depth, uint8_t color_type, uint8_t interlace);

Bytes load(const std::string& path);
void save(const std::string& path, const Bytes& bytes);

}  // namespace orb::testing
