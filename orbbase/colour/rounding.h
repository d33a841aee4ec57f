// From a computed value to a table entry.
#pragma once

#include <algorithm>

namespace orb {

// value rounded half up and held between 0 and most, which T can represent; what is no number gives 0.
template <class T>
T rounded_entry(double value, double most) {
  const double raised = value + 0.5;
  if (!(raised > 0)) return 0;
  return static_cast<T>(std::min(raised, most));
}

}  // namespace orb
