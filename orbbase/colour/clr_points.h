// The colour matching functions of a configuration file, point by point.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/colour/clr_observer.h"
#include "orbbase/support/err/internal.h"

namespace orb::clr {

class PointList {
 public:
  // False when memory ran out, reported.
  [[nodiscard]] bool add(const Point& point);
  [[nodiscard]] size_t count() const { return count_; }

  // The points in order of wavelength; at one wavelength in the order they came in. Changes what add has
  // built.
  [[nodiscard]] std::span<const Point> sorted();

 private:
  owned<Point> points_;
  size_t count_ = 0;
  size_t capacity_ = 0;
};

}  // namespace orb::clr
