// Pictures that the checks make, and how they go through the format and come back.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kit.h"

namespace orb::tool::plugin_check {

// What a picture is made of. All groups have the type and the width.
struct Shape {
  int32_t color = 1;
  int32_t matte = 0;
  int32_t aux = 0;
  int32_t index = 0;
  uint32_t type = ORB_C_INTEGER;
  int32_t width = 8;
  bool is_bottom_up = false;
};

// "3 colour and 1 matte channels, 8-bit integers, bottom up"
[[nodiscard]] std::string text_of(const Shape& shape);

struct Picture {
  ORB_IFD ifd = {};
  std::vector<std::vector<std::string>> rows;  // from the bottom up, a text of bytes a channel
};

[[nodiscard]] Picture make_picture(const Shape& shape);

struct Written {
  bool is_open = false;     // the open function took the picture
  bool is_lossy = false;    // and says that samples will not come back as they are
  bool is_touched = false;  // it wrote into the caller's rows
  int32_t code = 0;         // of the first call that failed; 0: none
};

// Writes a picture, forgetting the errors before.
[[nodiscard]] Written write_picture(Kit& kit, const Picture& picture, const std::string& file);

struct ReadBack {
  int32_t code = 0;  // of the first call that failed; 0: none
  std::string call;  // which that was
  Picture picture;   // as far as it came
};

// Reads all rows of the first image. Rows are overwritten as soon as they are taken down, as a caller may do.
[[nodiscard]] ReadBack read_picture(Kit& kit, const std::string& file);

// Opens for reading; null when that fails.
[[nodiscard]] ORB_IMAGE* open_for_reading(const Kit& kit, const std::string& file);
// One row, taken down and overwritten. The code.
int32_t take_row(ORB_IMAGE* image, int32_t line, std::vector<std::string>& channels_out);

// How the two differ, "" for not at all. Windows may have moved.
[[nodiscard]] std::string difference(const Picture& wanted, const Picture& found);

// A picture that the format takes and gives back, written to a file; false when it takes none.
[[nodiscard]] bool write_any_picture(Kit& kit, const std::string& file, Picture& picture_out);

}  // namespace orb::tool::plugin_check
