// Makes the library's allocations fail on request. The testing build of the library routes its malloc, calloc
// and realloc through here.
#pragma once

#include <cstdint>

namespace orb::testing {

// From its construction to its end the nth allocation (counted from 1) fails, or with from_there_on all from
// the nth. One at a time.
class FailAllocation {
 public:
  enum class Mode { once, from_there_on };
  explicit FailAllocation(int64_t nth, Mode mode = Mode::once);
  ~FailAllocation();
  FailAllocation(const FailAllocation&) = delete;
  FailAllocation& operator=(const FailAllocation&) = delete;

  // Whether an allocation failed so far.
  [[nodiscard]] bool happened() const;
};

}  // namespace orb::testing
