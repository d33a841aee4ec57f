// The colour matching functions of a configuration file, point by point.
#include "orbbase/colour/clr_points.h"

#include <algorithm>
#include <cstring>

namespace orb::clr {

bool PointList::add(const Point& point) {
  if (count_ == capacity_) {
    const size_t capacity = capacity_ == 0 ? 128 : 2 * capacity_;
    owned<Point> grown = make_zeroed<Point>(capacity);
    if (!grown) return false;
    if (count_ > 0) std::memcpy(grown.get(), points_.get(), count_ * sizeof(Point));
    points_ = std::move(grown);
    capacity_ = capacity;
  }
  points_.get()[count_] = point;
  points_.get()[count_].order = static_cast<int32_t>(count_);
  ++count_;
  return true;
}

std::span<const Point> PointList::sorted() {
  const std::span<Point> points(points_.get(), count_);
  std::sort(points.begin(), points.end(), [](const Point& a, const Point& b) {
    return a.wavelength != b.wavelength ? a.wavelength < b.wavelength : a.order < b.order;
  });
  return points;
}

}  // namespace orb::clr
