// Codec libraries whose errors end in a call that must not return: it jumps back to the step that went wrong.
#pragma once

#include <csetjmp>
#include <type_traits>

namespace orb::plugin {

// Runs one step of codec library calls. False when it ended in an error, by a long jump to codec.recovery: the codec
// knows why, and must be given no further step but release. A step is a lambda that makes nothing that needs a
// destructor.
template <class Codec, class Step>
[[nodiscard]] bool guarded(Codec& codec, Step step) {
  static_assert(std::is_trivially_destructible_v<Step>);
  if (setjmp(codec.recovery) != 0) return false;
  step();
  return true;
}

}  // namespace orb::plugin
