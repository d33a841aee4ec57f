// What the limits are until an application sets them.
#pragma once

#include <cstdint>

namespace orb {

// which: one of ORB_LIMIT_.
uint64_t built_in_limit(int32_t which);

}  // namespace orb
