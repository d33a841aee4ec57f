// Memory and results of a plug-in: all memory comes from the library's allocator, which reports when it runs out.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>

#include "orbbase/core.h"
#include "orbbase/driver.h"
#include "orbbase/support/err.h"

namespace orb::plugin {

struct Released {
  void operator()(void* block) const { ERR_free(block); }
};

// A block of the library's allocator, released when its holder goes.
template <class T>
using owned = std::unique_ptr<T, Released>;

// Writes orb__err, which all threads share, and gives the code back.
inline int32_t fail(int32_t code) {
  std::atomic_ref<int32_t>(orb__err).store(code, std::memory_order_relaxed);
  return code;
}

// Codec libraries take memory for themselves, and say of most failures only that there was one: the C library's own
// word tells, when errno was 0 before the call.
[[nodiscard]] inline bool codec_lacked_memory() { return errno == ENOMEM; }

// Reports what the allocator of the library has not seen; gives -10 back.
inline int32_t fail_for_memory() {
  orb__report(ORB_MSG_NO_MEMORY);
  return fail(ORB_E_MEMORY);
}

// Null, reported, with orb__err -10, when memory runs out. The allocator takes 32-bit sizes; anything above is
// out of memory too.
[[nodiscard]] inline void* allocate(uint64_t size_bytes, void* (*allocator)(uint32_t) = ERR_malloc) {
  void* block = nullptr;
  if (size_bytes <= std::numeric_limits<uint32_t>::max()) {
    block = allocator(size_bytes == 0 ? 1 : static_cast<uint32_t>(size_bytes));
  } else {
    orb__report(ORB_MSG_NO_MEMORY);
  }
  if (!block) fail(ORB_E_MEMORY);
  return block;
}

// Memory that a file claims and never fills is not taken from the system.
template <class T>
[[nodiscard]] owned<T> make_zeroed(uint64_t count) {
  static_assert(std::is_trivially_destructible_v<T>);
  const uint64_t size_bytes = count > std::numeric_limits<uint32_t>::max() ? count : count * sizeof(T);
  return owned<T>(static_cast<T*>(allocate(size_bytes, ERR_zalloc)));
}

}  // namespace orb::plugin
