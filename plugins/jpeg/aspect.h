// Between a pixel aspect ratio (width by height) and the two densities that a JFIF header holds. Pure
// functions.
#pragma once

#include <cstdint>
#include <optional>

namespace orb::jpeg {

// Pixels a unit length, across and down; their quotient, down by across, is the ratio. 1 and 1 stand in every
// header that has nothing to say.
struct Densities {
  uint16_t across;
  uint16_t down;
};

// The densities whose quotient is nearest, of those the smallest, but not 1 and 1. None for a ratio that is
// not a number from 1/65535 to 65535.
std::optional<Densities> densities_of(float pixel_aspect);

inline float aspect_of(Densities densities) {
  return static_cast<float>(static_cast<double>(densities.down) / densities.across);
}

}  // namespace orb::jpeg
