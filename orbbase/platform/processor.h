// What the processor that the library runs on can do beyond the least of its kind.
#pragma once

namespace orb::platform {

// 32 bytes at a time.
inline bool has_avx2() {
#if defined(__x86_64__)
  return __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}

// Looking up 64 bytes at a time in a table of 128.
inline bool has_byte_permute() {
#if defined(__x86_64__)
  return __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw");
#else
  return false;
#endif
}

}  // namespace orb::platform
