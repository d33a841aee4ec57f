// The colour matching functions of the standard observer.
#pragma once

#include <cstdint>
#include <span>

namespace orb::clr {

// The value of the colour matching functions at one wavelength.
struct Point {
  float wavelength;  // nm
  float xyz[3];
  int32_t order = 0;  // among the points of a file, which may repeat a wavelength
};

// The CIE 1931 standard colorimetric observer (2 degrees), 380 to 780 nm in steps of 5 nm.
std::span<const Point> standard_observer();

}  // namespace orb::clr
