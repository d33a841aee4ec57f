// The matching-function table: colour matching functions at evenly spaced wavelengths. Pure functions.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/colour/clr_observer.h"

namespace orb::clr {

// A table over its range: entry k, three floats, is at min + k * step().
struct MatchingTable {
  std::span<const float> xyz;
  float min = 0;  // nm
  float max = 0;

  [[nodiscard]] size_t entries() const { return xyz.size() / 3; }
  [[nodiscard]] double step() const {
    return (static_cast<double>(max) - static_cast<double>(min)) / static_cast<double>(entries() - 1);
  }
};

// Fills the table, at least two entries, by linear interpolation between points in order of wavelength,
// starting from zero at min and, behind the last point, falling to zero at max. Of points at one wavelength
// the first counts.
void fill_table(std::span<const Point> points, float min, float max, std::span<float> xyz_out);

// Scales each function so that the sum of its entries times step is 1. False, with the table unusable, when
// that cannot be done: a sum is zero, or an entry is not finite.
[[nodiscard]] bool normalise_table(std::span<float> xyz, double step);

}  // namespace orb::clr
