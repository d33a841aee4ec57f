// A small animation, written by hand.
#pragma once

#include <string>

namespace orb::testing {

// A GIF of 1 x 1 pixel, one frame a character of frames: '0' to '3' is its index in a palette of four greys from
// black to white, 'x' a frame that cannot be decoded. Each is shown for 0.05 s.
inline std::string gif(const std::string& frames) {
  using namespace std::string_literals;
  std::string file = "GIF89a\1\0\1\0\x91\0\0"s;
  for (const int level : {0, 85, 170, 255}) file.append(3, static_cast<char>(level));
  for (const char frame : frames) {
    file += "\x21\xF9\x04\0\5\0\0\0\x2C\0\0\0\0\1\0\1\0\0"s;
    // Codes of 3 bits from the lowest up: clear (4), the index, end (5); 7 is none.
    const int code = frame == 'x' ? 7 : frame - '0';
    const int bits = 4 | code << 3 | 5 << 6;
    file += "\2\2"s + static_cast<char>(bits) + static_cast<char>(bits >> 8) + "\0"s;
  }
  return file + ";";
}

}  // namespace orb::testing
