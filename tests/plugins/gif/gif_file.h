// GIF files made byte by byte, and what a reader gives shown as letters.
#pragma once

#include <string>
#include <vector>

#include "tests/plugins/common/formats.h"

namespace orb::testing {

// What becomes of a frame before the next one.
enum : int { kLeft = 1, kCleared = 2, kTakenAway = 3 };

// A picture of the tests: rows from the top, with "/" between them, a letter a pixel. Letter "a" is index 0.
struct DrawnFrame {
  std::string picture;
  int disposal = 0;
  int left = 0;
  int top = 0;
  char transparent = 0;  // a letter
  int delay = 0;
  std::string palette = {};  // of its own
  bool is_interlaced = false;
};

struct GifFile {
  int width;
  int height;
  std::vector<DrawnFrame> frames;
  // Red, green, blue of each letter; a power of two of them.
  std::string palette = std::string("\x00\x00\x00\xFF\x00\x00\x00\xFF\x00\x00\x00\xFF", 12);
  std::string extensions = {};  // between header and frames
  int aspect = 0;

  [[nodiscard]] std::string bytes() const;
};

// A block of an extension with its end.
std::string comment(const std::string& text);
std::string repeats(int count);

class GifTest : public FormatTest {
 protected:
  GifTest() : FormatTest({GIF_MODULE}) {}
};

const Settings kAsIndices = {{0, 1}};
Image open_gif(const GifFile& file, const Settings& settings = {});

// The current frame as letters of the palette; "." is a pixel without coverage, "?" one of no colour of the
// palette. "" when it cannot be read.
std::string shown(ORB_IMAGE* image, const std::string& palette = GifFile{}.palette);

}  // namespace orb::testing
