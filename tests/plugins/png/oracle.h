// PNG files made and read by the codec library itself, without the plug-in: what the plug-in is held against.
#pragma once

#include <png.h>

#include <functional>
#include <string>
#include <string_view>

#include "tests/plugins/common/formats.h"

namespace orb::testing {

class PngTest : public FormatTest {
 protected:
  PngTest() : FormatTest({PNG_MODULE}) {}
};

// A picture as a file stores it; rows from the top.
struct Stored {
  uint32_t width = 0;
  uint32_t height = 0;
  int color_type = PNG_COLOR_TYPE_GRAY;
  int depth = 8;
  bool is_interlaced = false;
  Planes planes;
};

Stored noise_picture(uint32_t width, uint32_t height, int color_type, int depth, bool is_interlaced = false);

using Decorate = std::function<void(png_structp, png_infop)>;

// The file's bytes. decorate may set further chunks before they are written; a palette picture without a
// palette of its own gets one of all indices.
std::string encode(const Stored& picture, const Decorate& decorate = nullptr);

// What a file holds. inspect sees the codec's structures after the whole file was read.
Stored decode(std::string file, const Decorate& inspect = nullptr);

void add_text(png_structp png, png_infop info, int compression, std::string key, std::string text,
              std::string language = "");

// One chunk with the right check sum.
std::string chunk(std::string_view name, std::string_view data);
// The file with more before the first chunk of this name.
std::string insert_before(std::string file, std::string_view name, const std::string& what);

}  // namespace orb::testing
