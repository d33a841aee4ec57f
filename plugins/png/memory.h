// Memory of the PNG plug-in: all of it comes from the library's allocator, which reports when it runs out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>

#include "orbbase/driver.h"
#include "orbbase/support/err.h"

namespace orb::png {

struct Released {
  void operator()(void* block) const { ERR_free(block); }
};

// A block of the library's allocator, released when its holder goes.
template <class T>
using owned = std::unique_ptr<T, Released>;

// Null, reported, when memory runs out. The allocator takes 32-bit sizes; anything above is out of memory
// too.
[[nodiscard]] inline void* allocate(uint64_t size_bytes) {
  if (size_bytes <= std::numeric_limits<uint32_t>::max()) {
    return ERR_malloc(size_bytes == 0 ? 1 : static_cast<uint32_t>(size_bytes));
  }
  orb__report(ORB_MSG_NO_MEMORY);
  return nullptr;
}

template <class T>
[[nodiscard]] owned<T> make_zeroed(uint64_t count) {
  static_assert(std::is_trivially_destructible_v<T>);
  if (count > std::numeric_limits<uint32_t>::max() / sizeof(T)) {
    orb__report(ORB_MSG_NO_MEMORY);
    return nullptr;
  }
  void* block = allocate(count * sizeof(T));
  if (block) std::memset(block, 0, count * sizeof(T));
  return owned<T>(static_cast<T*>(block));
}

}  // namespace orb::png
