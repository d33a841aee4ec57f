// Pairs of bytes with the instructions that every x86-64 has.
#include "orbbase/operators/reduce_rows.h"

#if defined(__SSE2__)
#include <emmintrin.h>

namespace orb::reduce {
namespace {

constexpr size_t kBlock = 16;

// 4 words as floats.
void store_floats(__m128i double_words, float* out) { _mm_storeu_ps(out, _mm_cvtepi32_ps(double_words)); }

}  // namespace

size_t pair_bytes_sse2(const uint8_t* samples, size_t count, float* sums) {
  const __m128i low_bytes = _mm_set1_epi16(0xff);
  const __m128i zeros = _mm_setzero_si128();
  size_t done = 0;
  for (; count - done >= kBlock; done += kBlock, sums += kBlock / 2) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples + done));
    const __m128i pairs = _mm_add_epi16(_mm_and_si128(bytes, low_bytes), _mm_srli_epi16(bytes, 8));
    store_floats(_mm_unpacklo_epi16(pairs, zeros), sums);
    store_floats(_mm_unpackhi_epi16(pairs, zeros), sums + 4);
  }
  return done;
}

}  // namespace orb::reduce
#else
size_t orb::reduce::pair_bytes_sse2(const uint8_t*, size_t, float*) { return 0; }
#endif
