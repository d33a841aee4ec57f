// The descriptors of reduced pictures: what a file must hold to take them, and whether one does.
#pragma once

#include "orbbase/core.h"

namespace orb::reduce {

// The most levels that a pyramid can have: sides of 2^32 pixels halved down to 1.
inline constexpr int32_t kMostLevels = 33;

// Window sizes; windows_are_sound must hold.
[[nodiscard]] int64_t width_of(const ORB_IFD& ifd);
[[nodiscard]] int64_t height_of(const ORB_IFD& ifd);

// The images of the pyramid on a full picture, at most most_levels of them unless that is 0.
[[nodiscard]] int32_t count_levels(const ORB_IFD& full, int32_t most_levels);

// The next level's descriptor.
[[nodiscard]] ORB_IFD half_of(const ORB_IFD& level);

// The descriptor of the swatch; the full one itself when it fits. size: 1 or more.
[[nodiscard]] ORB_IFD swatch_of(const ORB_IFD& full, int32_t size);

[[nodiscard]] bool is_same_size(const ORB_IFD& a, const ORB_IFD& b);

// Whether an image of a file can take what is planned for it: a window of the same size and rows in the same order,
// with all that is active; the same channels and curve.
[[nodiscard]] bool takes(const ORB_IFD& file, const ORB_IFD& planned);

}  // namespace orb::reduce
