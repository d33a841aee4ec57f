// Between the description's floating-point numbers and the integers that a PNG stores. Pure functions.
#pragma once

#include <cstdint>
#include <optional>

namespace orb::png {

// The gAMA value, 100000 times the encoding exponent, of a response curve's gamma; none when it has none.
std::optional<int32_t> stored_gamma(float gamma);

// The gamma of a gAMA value above 0: of all numbers that are stored as this value the one with the fewest
// decimals, so that 2.2, stored as 45455, is 2.2 again. Storing it gives the same value.
float gamma_from_stored(int32_t stored);

// A coordinate of the chromaticity diagram in hundred-thousandths; none outside 0 to 1.
std::optional<int32_t> stored_chromaticity(float coordinate);
float chromaticity_from_stored(int32_t stored);

// Two whole numbers for a pixel aspect ratio (a pixel's width by its height): pixels a unit length along x
// and along y, whose quotient y / x is exactly the ratio. None for a ratio that is not finite and positive,
// or too far from 1 (below 2^-6 or from 2^24 on).
struct PixelsPerUnit {
  uint32_t x;
  uint32_t y;
};
std::optional<PixelsPerUnit> stored_aspect(float pixel_aspect);

}  // namespace orb::png
