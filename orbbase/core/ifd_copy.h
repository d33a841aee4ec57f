// Deep copies of image descriptors.
#pragma once

#include "orbbase/core.h"

namespace orb {

// What becomes of absent names. In a handle opened for writing they read "unknown"; a store does not keep
// that word, so that what was absent reads as absent again.
enum class UnknownNames {
  keep,  // every name as it is
  fill,  // null becomes "unknown"
  drop,  // "unknown" becomes null
};

// Copies a descriptor with names and tables of its own; a gamma curve is copied word for word. What `to` held
// before is not released. Fails when memory runs out or the curve cannot be copied, reported by the one that
// knew; `to` then holds nothing that needs release.
[[nodiscard]] bool copy_ifd(const ORB_IFD& from, ORB_IFD& to, UnknownNames names);

// Releases the curve's tables and the names, and makes them null.
void release_ifd(ORB_IFD& ifd);

// One text by the same rule. False when memory runs out, reported; out is then null.
[[nodiscard]] bool copy_text(const char* from, char*& out, UnknownNames names);

}  // namespace orb
