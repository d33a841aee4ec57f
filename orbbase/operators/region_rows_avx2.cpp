// A region's conversion with AVX2: the products eight at a time, 3-byte pixels by byte shuffles. Compiled for
// that processor and called on no other.
#include "orbbase/operators/region_rows.h"

#if defined(__AVX2__)
#include <immintrin.h>

#include "orbbase/operators/region_blocks.h"

namespace orb::region {
namespace {

struct Avx2 {
  static __m128i load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }

  static Words words_of(const uint8_t* in) {
    const __m128i bytes = load(in);
    return {_mm_cvtepu8_epi16(bytes), _mm_cvtepu8_epi16(_mm_unpackhi_epi64(bytes, bytes))};
  }

  static Words words_of(const uint16_t* in) { return {load(in), load(in + 8)}; }

  static __m256i scale(__m128i words, float factor) {
    const __m256 samples = _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(words));
    return _mm256_cvttps_epi32(_mm256_mul_ps(samples, _mm256_set1_ps(factor)));
  }

  // The low bits of 16 products as words. The pack works in halves; the permutation puts them in order.
  static __m256i low_bits(Words words, float factor, int mask) {
    const __m256i bits = _mm256_set1_epi32(mask);
    const __m256i packed = _mm256_packus_epi32(_mm256_and_si256(scale(words.low, factor), bits),
                                               _mm256_and_si256(scale(words.high, factor), bits));
    return _mm256_permute4x64_epi64(packed, 0xD8);
  }

  static Words scale_words(Words words, float factor) {
    const __m256i all = low_bits(words, factor, 0xFFFF);
    return {_mm256_castsi256_si128(all), _mm256_extracti128_si256(all, 1)};
  }

  static __m128i scale_bytes(Words words, float factor) {
    const __m256i all = low_bits(words, factor, 0xFF);
    return _mm_packus_epi16(_mm256_castsi256_si128(all), _mm256_extracti128_si256(all, 1));
  }

  static __m128i close_up(__m128i quads) {
    const __m128i order = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    return _mm_shuffle_epi8(quads, order);
  }

  // Code without AVX is slow while the upper halves of the registers are in use.
  static void leave() { _mm256_zeroupper(); }
};

}  // namespace

BlockKernels avx2_kernels(const Conversion& conversion) { return choose_blocks<Avx2>(conversion); }

}  // namespace orb::region
#else
namespace orb::region {

BlockKernels avx2_kernels(const Conversion&) { return {}; }

}  // namespace orb::region
#endif
