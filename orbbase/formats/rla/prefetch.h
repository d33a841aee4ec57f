// Asking for memory before it is needed.
#pragma once

#include <cstdint>

namespace orb::rla {

// Far enough ahead for bytes that no cache holds. The address may lie past them: it is never read.
inline void prefetch_after(const uint8_t* bytes) {
  __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(bytes) + 2048));
}

}  // namespace orb::rla
