// STR_compare, 16 characters at a time. It reads past the end of a string, but never past the end of the memory
// page that the end is on, so no read can fail; what lies there has no influence on the result. The sanitizers
// are told to let such reads pass.
#include "orbbase/str/internal.h"

#if defined(__SSE2__)
#include <emmintrin.h>

#include <algorithm>
#include <bit>

#define ORB_READS_PAST_THE_END __attribute__((no_sanitize("address"), no_sanitize("thread")))

namespace orb {
namespace {

constexpr uintptr_t kPageBytes = 4096;  // the smallest page of any system that runs here
constexpr size_t kVectorBytes = 16;
constexpr size_t kStrideBytes = 4 * kVectorBytes;

// How many bytes both strings have from here to the nearer end of a page.
size_t left_on_pages(const char* a, const char* b) {
  const uintptr_t used = std::max(reinterpret_cast<uintptr_t>(a) & (kPageBytes - 1),
                                  reinterpret_cast<uintptr_t>(b) & (kPageBytes - 1));
  return kPageBytes - used;
}

ORB_READS_PAST_THE_END __m128i load(const char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// A byte of 0 wherever the strings differ or end.
ORB_READS_PAST_THE_END __m128i going_on(const char* a, const char* b) {
  const __m128i characters = load(a);
  return _mm_min_epu8(characters, _mm_cmpeq_epi8(characters, load(b)));
}

// A bit for every byte that is 0.
uint32_t zero_bytes(__m128i bytes) {
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())));
}

int32_t difference(const char* a, const char* b) { return static_cast<int8_t>(*a) - static_cast<int8_t>(*b); }

// Compares one vector's worth. Returns whether the strings differ or end in it, with the result in *result.
ORB_READS_PAST_THE_END bool ends_in_vector(const char* a, const char* b, int32_t* result) {
  const uint32_t stops = zero_bytes(going_on(a, b));
  if (!stops) return false;
  const int first = std::countr_zero(stops);
  *result = difference(a + first, b + first);
  return true;
}

// The same character by character, for where a page ends.
bool ends_in_characters(const char* a, const char* b, int32_t* result) {
  for (size_t i = 0; i < kVectorBytes; ++i) {
    if (a[i] != b[i] || !a[i]) {
      *result = difference(a + i, b + i);
      return true;
    }
  }
  return false;
}

// The same for a stride that lies on one page.
ORB_READS_PAST_THE_END bool ends_in_stride(const char* a, const char* b, int32_t* result) {
  for (size_t i = 0; i < kStrideBytes; i += kVectorBytes) {
    if (ends_in_vector(a + i, b + i, result)) return true;
  }
  return false;
}

// The same for the few strings whose first stride crosses the end of a page.
ORB_READS_PAST_THE_END bool ends_in_crossing_stride(const char* a, const char* b, int32_t* result) {
  for (size_t i = 0; i < kStrideBytes; i += kVectorBytes) {
    const bool is_on_page = left_on_pages(a + i, b + i) >= kVectorBytes;
    if (is_on_page ? ends_in_vector(a + i, b + i, result) : ends_in_characters(a + i, b + i, result))
      return true;
  }
  return false;
}

// Goes on behind the first stride.
ORB_READS_PAST_THE_END int32_t compare_long(const char* a, const char* b) {
  for (;;) {
    size_t left = left_on_pages(a, b);
    if (left < kStrideBytes) {
      // Steps back until the stride ends with the page: what was compared already is equal.
      a -= kStrideBytes - left;
      b -= kStrideBytes - left;
      left = kStrideBytes;
    }
    for (; left >= kStrideBytes; left -= kStrideBytes, a += kStrideBytes, b += kStrideBytes) {
      const __m128i low = _mm_min_epu8(going_on(a, b), going_on(a + 16, b + 16));
      const __m128i high = _mm_min_epu8(going_on(a + 32, b + 32), going_on(a + 48, b + 48));
      int32_t result;
      if (zero_bytes(_mm_min_epu8(low, high)) && ends_in_stride(a, b, &result)) return result;
    }
  }
}

// Whether a stride from here surely crosses no end of a page. Cheap, and so now and then wrongly false.
bool is_far_from_page_end(const char* a, const char* b) {
  const uintptr_t bits = reinterpret_cast<uintptr_t>(a) | reinterpret_cast<uintptr_t>(b);
  return (bits & (kPageBytes - 1)) <= kPageBytes - kStrideBytes;
}

}  // namespace

ORB_READS_PAST_THE_END int32_t compare_sse2(const char* a, const char* b) {
  int32_t result;
  const bool is_on_page = is_far_from_page_end(a, b) || left_on_pages(a, b) >= kStrideBytes;
  if (is_on_page ? ends_in_stride(a, b, &result) : ends_in_crossing_stride(a, b, &result)) return result;
  return compare_long(a + kStrideBytes, b + kStrideBytes);
}

}  // namespace orb
#endif
