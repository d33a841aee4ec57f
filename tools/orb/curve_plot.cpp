#include "curve_plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace orb::tool {
namespace {

// The value at a place from 0 to 1, straight between two entries.
double value_at(const LabelledCurve& curve, double place) {
  const double position = place * static_cast<double>(curve.values.size() - 1);
  const auto below = std::min(static_cast<size_t>(position), curve.values.size() - 2);
  const double part = position - static_cast<double>(below);
  const double value = curve.values[below] + part * (curve.values[below + 1] - curve.values[below]);
  return std::isnan(value) ? 0 : std::clamp(value, 0.0, 1.0);
}

// ---- In characters -----------------------------------------------------------------------------------

// The dots of a braille character, 2 wide and 4 high, by column and row from its top.
constexpr uint8_t kDots[2][4] = {{0x01, 0x02, 0x04, 0x40}, {0x08, 0x10, 0x20, 0x80}};
constexpr const char* kMarks = "*+ox#@";             // of the curves, in ASCII
constexpr int kColors[] = {36, 33, 35, 32, 34, 31};  // of the curves, in the terminal's own palette
constexpr int32_t kLabelColumns = 4;                 // "1.0 "
constexpr int32_t kMostColumns = 100;

struct Cell {
  uint8_t dots = 0;
  size_t curve = 0;  // the newest that goes through it
};

class Canvas {
 public:
  Canvas(int32_t columns, int32_t rows)
      : columns_(columns), rows_(rows), cells_(static_cast<size_t>(columns) * static_cast<size_t>(rows)) {}

  // Every column of dots gets the curve's dot and those between it and its neighbour's.
  void draw(const LabelledCurve& curve, size_t number) {
    const int32_t width = 2 * columns_;
    const int32_t height = 4 * rows_;
    int32_t before = -1;
    for (int32_t x = 0; x < width; ++x) {
      const double value = value_at(curve, static_cast<double>(x) / (width - 1));
      const int32_t y = static_cast<int32_t>(std::lround((1 - value) * (height - 1)));
      const int32_t from = before < 0 ? y : before + (before < y) - (before > y);
      for (int32_t dot = std::min(from, y); dot <= std::max(from, y); ++dot) set(x, dot, number);
      before = y;
    }
  }

  [[nodiscard]] std::string row(int32_t row, Cells look) const {
    std::string text;
    for (int32_t column = 0; column < columns_; ++column) text += cell_text(at(column, row), look);
    return text;
  }

 private:
  [[nodiscard]] const Cell& at(int32_t column, int32_t row) const {
    return cells_[static_cast<size_t>(row) * static_cast<size_t>(columns_) + static_cast<size_t>(column)];
  }
  void set(int32_t x, int32_t y, size_t number) {
    Cell& cell = const_cast<Cell&>(at(x / 2, y / 4));
    cell.dots |= kDots[x % 2][y % 4];
    cell.curve = number;
  }

  static std::string cell_text(const Cell& cell, Cells look) {
    if (cell.dots == 0) return " ";
    if (look == Cells::ascii) return std::string(1, kMarks[cell.curve % 6]);
    // U+2800 and the dots, in UTF-8.
    const std::string braille = {'\xE2', static_cast<char>(0xA0 | cell.dots >> 6),
                                 static_cast<char>(0x80 | (cell.dots & 0x3F))};
    return "\033[" + std::to_string(kColors[cell.curve % 6]) + "m" + braille + "\033[0m";
  }

  int32_t columns_;
  int32_t rows_;
  std::vector<Cell> cells_;
};

std::string legend(const std::vector<LabelledCurve>& curves, Cells look) {
  std::string text;
  for (size_t i = 0; i < curves.size(); ++i) {
    const std::string mark = look == Cells::ascii
                                 ? std::string(1, kMarks[i % 6])
                                 : "\033[" + std::to_string(kColors[i % 6]) + "m\xE2\xA0\x92\033[0m";
    text += "    " + mark + " " + curves[i].label + "\n";
  }
  return text;
}

// ---- As SVG ------------------------------------------------------------------------------------------

constexpr int kSide = 512;
constexpr int kMargin = 40;
constexpr const char* kStrokes[] = {"#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9"};

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

std::string x_of(double place) { return number(kMargin + place * kSide); }
std::string y_of(double value) { return number(kMargin + (1 - value) * kSide); }

std::string polyline(const LabelledCurve& curve, const char* stroke) {
  std::string points;
  for (int x = 0; x <= kSide; ++x) {
    const double place = static_cast<double>(x) / kSide;
    points += (x == 0 ? "" : " ") + x_of(place) + "," + y_of(value_at(curve, place));
  }
  return std::string("<polyline fill=\"none\" stroke-width=\"2\" stroke=\"") + stroke + "\" points=\"" +
         points + "\"/>\n";
}

std::string text_at(const std::string& x, const std::string& y, const char* anchor, const std::string& text) {
  return "<text x=\"" + x + "\" y=\"" + y + "\" text-anchor=\"" + anchor + "\">" + text + "</text>\n";
}

std::string grid() {
  std::string text;
  for (int i = 0; i <= 4; ++i) {
    const double at = i / 4.0;
    text += "<path stroke=\"#ccc\" d=\"M" + x_of(0) + " " + y_of(at) + "H" + x_of(1) + "M" + x_of(at) + " " +
            y_of(0) + "V" + y_of(1) + "\"/>\n";
    text += text_at(number(kMargin - 6), number(kMargin + (1 - at) * kSide + 4), "end", number(at));
    text += text_at(x_of(at), number(kMargin + kSide + 18), "middle", number(at));
  }
  return text;
}

}  // namespace

std::string curves_as_text(const std::vector<LabelledCurve>& curves, const Screen& screen) {
  const int32_t columns = std::clamp(screen.columns - kLabelColumns, 8, kMostColumns);
  const int32_t legend_rows = static_cast<int32_t>(curves.size()) + 2;
  const int32_t rows = std::clamp(screen.rows - legend_rows, 4, columns / 2);
  Canvas canvas(columns, rows);
  for (size_t i = 0; i < curves.size(); ++i) canvas.draw(curves[i], i);
  std::string text;
  for (int32_t row = 0; row < rows; ++row) {
    text += row == 0 ? "1.0 " : row == rows - 1 ? "0.0 " : "    ";
    text += canvas.row(row, screen.cells) + "\n";
  }
  return text + legend(curves, screen.cells);
}

std::string curves_as_svg(const std::vector<LabelledCurve>& curves) {
  const int width = kSide + 2 * kMargin;
  const int height = width + static_cast<int>(curves.size()) * 18;
  const std::string size = std::to_string(width) + "\" height=\"" + std::to_string(height);
  std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + size +
                     "\" font-family=\"sans-serif\" font-size=\"12\">\n<rect width=\"100%\" height=\"100%\" "
                     "fill=\"white\"/>\n" +
                     grid();
  int y = width + 8;
  for (size_t i = 0; i < curves.size(); ++i, y += 18) {
    const char* const stroke = kStrokes[i % std::size(kStrokes)];
    text += polyline(curves[i], stroke);
    text += "<path stroke-width=\"2\" stroke=\"" + std::string(stroke) + "\" d=\"M" +
            std::to_string(kMargin) + " " + std::to_string(y - 4) + "h24\"/>\n";
    text += text_at(std::to_string(kMargin + 32), std::to_string(y), "start", curves[i].label);
  }
  return text + "</svg>\n";
}

}  // namespace orb::tool
