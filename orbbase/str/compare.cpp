// Comparison of strings by the signed values of their characters.
#include "orbbase/str/internal.h"

namespace orb {

int32_t address_difference(const char* a, const char* b) {
  return static_cast<int32_t>(
      static_cast<uint32_t>(reinterpret_cast<uintptr_t>(a) - reinterpret_cast<uintptr_t>(b)));
}

int32_t compare_bytewise(const char* a, const char* b) {
  while (*a == *b && *a) ++a, ++b;
  return static_cast<int8_t>(*a) - static_cast<int8_t>(*b);
}

}  // namespace orb

using namespace orb;

int32_t STR_compare(const char* a, const char* b) {
  if (!a || !b) return address_difference(a, b);
#if defined(__SSE2__)
  return compare_sse2(a, b);
#else
  return compare_bytewise(a, b);
#endif
}

int32_t STR_n_compare(const char* a, const char* b, int64_t n) {
  if (!a || !b) return address_difference(a, b);
  // On purpose the first characters are compared whatever n is.
  for (; n > 1 && *a == *b && *a; --n) ++a, ++b;
  return static_cast<int8_t>(*a) - static_cast<int8_t>(*b);
}
