// Curves as drawings: in characters of a terminal, and as SVG.
#pragma once

#include <string>
#include <vector>

#include "terminal.h"

namespace orb::tool {

// Values at equal steps from 0 to 1, in 0..1; what lies outside is drawn at the edge.
struct LabelledCurve {
  std::string label;
  std::vector<double> values;
};

// A plot that fits a screen, with a legend. Braille dots where the screen has more than ASCII.
[[nodiscard]] std::string curves_as_text(const std::vector<LabelledCurve>& curves, const Screen& screen);

[[nodiscard]] std::string curves_as_svg(const std::vector<LabelledCurve>& curves);

}  // namespace orb::tool
