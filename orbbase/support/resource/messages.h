// The reports of the resource files, and the codes that go with them.
#pragma once

#include "orbbase/support/err/internal.h"

namespace orb::resource {

inline constexpr MessageText kCannotOpen = {902, 1021, ERR_ERROR, "Cannot open resource file %s; %s"};
inline constexpr MessageText kNotWhole = {902, 1022, ERR_ERROR, "%s: This is not a whole resource file; %s"};
inline constexpr MessageText kCannotRead = {902, 1023, ERR_ERROR, "Cannot read resource file %s; %s"};
inline constexpr MessageText kCannotWrite = {902, 1024, ERR_ERROR, "Cannot write resource file %s; %s"};
inline constexpr MessageText kRefused = {902, 1025, ERR_ERROR, "Resource file %s stays as it is; %s"};

// Reports a failure and sets its code. False, so that a step may end with it.
inline bool fail_with(const MessageText& message, int32_t code, const char* path, const char* reason) {
  report(message, path, reason);
  set_error(code);
  return false;
}

// The same for want of memory, which the allocator has reported.
inline bool fail_for_memory() {
  set_error(ORB_E_MEMORY);
  return false;
}

}  // namespace orb::resource
