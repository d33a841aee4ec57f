// Asking for memory before it is needed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orb {

inline constexpr size_t kPrefetchBytes = 2048;  // far enough ahead for bytes that no cache holds

// The address may lie past the bytes: it is never read.
inline void prefetch_after(const uint8_t* bytes, size_t ahead = kPrefetchBytes) {
  __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(bytes) + ahead));
}

}  // namespace orb
