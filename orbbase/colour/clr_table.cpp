// The matching-function table: colour matching functions at evenly spaced wavelengths.
#include "orbbase/colour/clr_table.h"

#include <cmath>

namespace orb::clr {
namespace {

// Value c of the line from one point to the next, at a wavelength between them.
float between(const Point& from, const Point& to, double wavelength, size_t c) {
  const double start = from.wavelength;
  const double part = (wavelength - start) / (to.wavelength - start);
  return static_cast<float>(from.xyz[c] + part * (static_cast<double>(to.xyz[c]) - from.xyz[c]));
}

}  // namespace

void fill_table(std::span<const Point> points, float min, float max, std::span<float> xyz_out) {
  const double step = MatchingTable{xyz_out, min, max}.step();
  const Point end = {max, {}};
  Point previous = {min, {}};  // a first point that lies at min itself counts as no other, on purpose
  size_t next = 0;
  for (size_t entry = 0; entry < xyz_out.size() / 3; ++entry) {
    const double wavelength = static_cast<double>(min) + static_cast<double>(entry) * step;
    for (; next < points.size() && wavelength >= static_cast<double>(points[next].wavelength); ++next)
      if (points[next].wavelength != previous.wavelength) previous = points[next];
    const Point& following = next < points.size() ? points[next] : end;
    const bool is_inside = wavelength < static_cast<double>(following.wavelength);
    for (size_t c = 0; c < 3; ++c)
      xyz_out[3 * entry + c] = is_inside ? between(previous, following, wavelength, c) : 0;
  }
}

bool normalise_table(std::span<float> xyz, double step) {
  for (size_t c = 0; c < 3; ++c) {
    double sum = 0;
    for (size_t i = c; i < xyz.size(); i += 3) sum += static_cast<double>(xyz[i]);
    sum *= step;
    if (sum == 0 || !std::isfinite(sum)) return false;
    for (size_t i = c; i < xyz.size(); i += 3) {
      xyz[i] = static_cast<float>(static_cast<double>(xyz[i]) / sum);
      if (!std::isfinite(xyz[i])) return false;
    }
  }
  return true;
}

}  // namespace orb::clr
