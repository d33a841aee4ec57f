// What standard output can show, and pictures as text for it.
#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string_view>

#include "numbers.h"

namespace orb::tool {
namespace {

constexpr int32_t kUsualColumns = 80;
constexpr int32_t kUsualRows = 24;
constexpr int32_t kMostCells = 2000;  // a side
constexpr const char* kUpperHalf = "\xE2\x96\x80";

struct Size {
  int32_t columns;
  int32_t rows;
};

std::optional<Size> size_from_words(const std::string& text) {
  const size_t cross = text.find('x');
  if (cross == std::string::npos) return std::nullopt;
  const Size size = {as_number<int32_t>(std::string_view(text).substr(0, cross)).value_or(0),
                     as_number<int32_t>(std::string_view(text).substr(cross + 1)).value_or(0)};
  const bool is_sensible =
      std::min(size.columns, size.rows) >= 1 && std::max(size.columns, size.rows) <= kMostCells;
  return is_sensible ? std::optional(size) : std::nullopt;
}

Size size_of_terminal() {
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    return {kUsualColumns, kUsualRows};
  }
  return {std::min<int32_t>(size.ws_col, kMostCells), std::min<int32_t>(size.ws_row, kMostCells)};
}

std::string_view variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

Cells cells_for(const CommonOptions& common, bool is_terminal) {
  const std::string_view terminal = variable("TERM");
  const bool is_plain =
      !is_terminal || !variable("NO_COLOR").empty() || terminal.empty() || terminal == "dumb";
  if (common.color == "never" || (common.color == "auto" && is_plain)) return Cells::ascii;
  const std::string_view depth = variable("COLORTERM");
  const bool is_true = depth == "truecolor" || depth == "24bit" || terminal.ends_with("-direct");
  return is_true ? Cells::true_color : Cells::palette;
}

// ---- Colours ----

int32_t square_distance(const uint8_t* rgb, const int32_t (&to)[3]) {
  int32_t sum = 0;
  for (size_t i = 0; i < 3; ++i) sum += (rgb[i] - to[i]) * (rgb[i] - to[i]);
  return sum;
}

// Of the usual 256 colours: a cube of six levels a component, and a ramp of greys.
int32_t palette_index(const uint8_t* rgb) {
  constexpr int32_t kLevels[] = {0, 95, 135, 175, 215, 255};
  int32_t cube[3];
  int32_t cube_index = 16;
  for (size_t i = 0, weight = 36; i < 3; ++i, weight /= 6) {
    const int32_t level = rgb[i] < 48 ? 0 : rgb[i] < 115 ? 1 : (rgb[i] - 35) / 40;
    cube[i] = kLevels[level];
    cube_index += level * static_cast<int32_t>(weight);
  }
  const int32_t step = std::clamp((rgb[0] + rgb[1] + rgb[2]) / 3 - 3, 0, 239) / 10;
  const int32_t grey[3] = {8 + 10 * step, 8 + 10 * step, 8 + 10 * step};
  return square_distance(rgb, grey) < square_distance(rgb, cube) ? 232 + step : cube_index;
}

std::string color_text(const uint8_t* rgb, Cells cells) {
  if (cells == Cells::palette) return "5;" + std::to_string(palette_index(rgb));
  return "2;" + std::to_string(rgb[0]) + ";" + std::to_string(rgb[1]) + ";" + std::to_string(rgb[2]);
}

// A row of cells with two rows of pixels, of which the lower may be missing.
std::string color_line(const Picture& picture, int32_t row, Cells cells) {
  const bool has_lower = row + 1 < picture.height;
  std::string line;
  std::string before;
  for (int32_t column = 0; column < picture.width; ++column) {
    std::string colors = "\033[38;" + color_text(picture.pixel(column, row), cells);
    if (has_lower) colors += ";48;" + color_text(picture.pixel(column, row + 1), cells);
    colors += "m";
    if (colors != before) line += colors;
    line += kUpperHalf;
    before = colors;
  }
  return line + "\033[0m";
}

int32_t brightness(const uint8_t* rgb) { return (2126 * rgb[0] + 7152 * rgb[1] + 722 * rgb[2]) / 10000; }

std::string ascii_line(const Picture& picture, int32_t row) {
  constexpr std::string_view kRamp = " .:-=+*#%@";
  const int32_t lower = std::min(row + 1, picture.height - 1);
  std::string line;
  for (int32_t column = 0; column < picture.width; ++column) {
    const int32_t both = brightness(picture.pixel(column, row)) + brightness(picture.pixel(column, lower));
    line += kRamp[static_cast<size_t>(both) * kRamp.size() / 511];
  }
  return line;
}

}  // namespace

int32_t Screen::most_height(int32_t text_rows) const { return 2 * std::max(rows - text_rows, 1); }

void add_size_option(CLI::App& verb, std::string& size) {
  verb.add_option("--size", size,
                  "the room for a picture and the text below it, in characters; default: the terminal's "
                  "size, or 80x24")
      ->type_name("COLUMNSxROWS")
      ->check([](const std::string& text) {
        if (size_from_words(text)) return std::string();
        return "\"" + text + "\" is no size; expecting COLUMNSxROWS, each from 1 to " +
               std::to_string(kMostCells);
      });
}

Screen screen_for(const CommonOptions& common, const std::string& size) {
  const bool is_terminal = isatty(STDOUT_FILENO) != 0;
  const Size chosen = size_from_words(size).value_or(size_of_terminal());
  return {chosen.columns, chosen.rows, cells_for(common, is_terminal), is_terminal};
}

std::vector<std::string> lines_of(const Picture& picture, Cells cells) {
  std::vector<std::string> lines;
  for (int32_t row = 0; row < picture.height; row += 2) {
    lines.push_back(cells == Cells::ascii ? ascii_line(picture, row) : color_line(picture, row, cells));
  }
  return lines;
}

}  // namespace orb::tool
