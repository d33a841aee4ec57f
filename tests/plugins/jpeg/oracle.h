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

using Choose = std::function<void(jpeg_compress_struct*)>;

// A file of a smooth picture, given in this colour space. choose alters the parameters before the file is begun, and
// mark adds markers behind its header.
std::string encode(J_COLOR_SPACE given, const Choose& choose = nullptr, const Choose& mark = nullptr,
                   int width = 21, int height = 13);

// A file as the codec library gives it in this colour space, JCS_UNKNOWN: its own; look sees it after its header.
Planes decode(
    const std::string& bytes, J_COLOR_SPACE space,
    const std::function<void(jpeg_decompress_struct&)>& look = [](jpeg_decompress_struct&) {});

// Sample c of a smooth picture at x, y.
uint8_t smooth(int x, int y, int c);

// Where a marker stands, from its 0xFF; npos without.
size_t find_marker(const std::string& file, int code, size_t from = 0);

}  // namespace orb::testing
