#include "aspect.h"

#include <cmath>

namespace orb::jpeg {

std::optional<Densities> densities_of(float pixel_aspect) {
  constexpr double kMost = 65535;
  const double aspect = static_cast<double>(pixel_aspect);
  if (!(aspect >= 1 / kMost && aspect <= kMost)) return std::nullopt;
  if (aspect == 1) return Densities{2, 2};
  double least_error = INFINITY;
  Densities best = {1, 1};
  for (double across = 1; across <= kMost; ++across) {
    const double down = std::round(aspect * across);
    if (down < 1 || down > kMost || (across == 1 && down == 1)) continue;
    const double error = std::fabs(down / across - aspect);
    if (!(error < least_error)) continue;
    least_error = error;
    best = {static_cast<uint16_t>(across), static_cast<uint16_t>(down)};
  }
  return best;
}

}  // namespace orb::jpeg
