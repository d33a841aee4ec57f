// A limit of the library, set for the length of a block.
#pragma once

#include <cstdint>

#include "orbbase/core.h"

namespace orb::testing {

class LimitSetting {
 public:
  LimitSetting(int32_t which, uint64_t value) : which_(which), before_(ORB_limit(which, value)) {}
  ~LimitSetting() { ORB_limit(which_, before_); }
  LimitSetting(const LimitSetting&) = delete;
  LimitSetting& operator=(const LimitSetting&) = delete;

 private:
  int32_t which_;
  uint64_t before_;
};

}  // namespace orb::testing
