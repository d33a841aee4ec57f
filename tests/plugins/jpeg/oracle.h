// JPEG files made and looked at by the codec library alone, as the independent oracle.
#pragma once

#include <cstddef>
#include <cstdio>
// The codec library's header needs those above.
#include <jpeglib.h>

#include <functional>
#include <string>

#include "tests/plugins/common/formats.h"

namespace orb::testing {

class JpegTest : public FormatTest {
 protected:
  JpegTest() : FormatTest({JPEG_MODULE}) {}
};

// Settings of the module.
constexpr uint16_t kQuality = 2;
constexpr uint16_t kSubsampling = 3;

struct Picture {
  int width = 21;
  int height = 13;
  J_COLOR_SPACE given = JCS_RGB;  // of the samples; decides the number of components
  // Alters the parameters before the file is begun, and adds markers behind its header.
  std::function<void(jpeg_compress_struct*)> choose = [](jpeg_compress_struct*) {};
  std::function<void(jpeg_compress_struct&)> mark = [](jpeg_compress_struct&) {};
};

int components_of(J_COLOR_SPACE space);

// A file of a smooth picture.
std::string encode(const Picture& picture);

// A file as the codec library gives it in this colour space; look sees it after its header.
Planes decode(
    const std::string& bytes, J_COLOR_SPACE space,
    const std::function<void(jpeg_decompress_struct&)>& look = [](jpeg_decompress_struct&) {});

// Sample c of a smooth picture at x, y.
uint8_t smooth(int x, int y, int c);

// Where a marker stands, from its 0xFF; npos without.
size_t find_marker(const std::string& file, int code, size_t from = 0);

}  // namespace orb::testing
