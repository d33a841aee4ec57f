// What standard output can show, and pictures as text for it.
#pragma once

#include <string>

#include "box_average.h"
#include "command_line.h"
#include "options.h"

namespace orb::tool {

// What a cell of the terminal shows of a picture: two pixels, one above the other, or a character as bright as both.
enum class Cells { true_color, palette, ascii };

struct Screen {
  int32_t columns;
  int32_t rows;
  Cells cells;
  bool is_terminal;

  // The pixels that fit when some rows are left for text.
  [[nodiscard]] int32_t most_width() const { return columns; }
  [[nodiscard]] int32_t most_height(int32_t text_rows) const;
};

// Adds --size to a verb.
void add_size_option(CLI::App& verb, std::string& size);

// By the terminal's own size, or the one that was asked for, COLUMNSxROWS; 80 x 24 when there is neither. Colours as
// --color, NO_COLOR, TERM and COLORTERM have it.
[[nodiscard]] Screen screen_for(const CommonOptions& common, const std::string& size);

// The picture, line by line, without line ends.
[[nodiscard]] std::vector<std::string> lines_of(const Picture& picture, Cells cells);

}  // namespace orb::tool
