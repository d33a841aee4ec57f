// A region's conversion with the instructions that every x86-64 has.
#include "orbbase/operators/region_rows.h"

#if defined(__SSE2__)
#include "orbbase/operators/region_blocks.h"

namespace orb::region {
namespace {

struct Sse2 {
  static Words words_of(const uint8_t* in) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    return {_mm_unpacklo_epi8(bytes, _mm_setzero_si128()), _mm_unpackhi_epi8(bytes, _mm_setzero_si128())};
  }

  static Words words_of(const uint16_t* in) {
    return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(in)),
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 8))};
  }

  static __m128i scale(__m128i samples, __m128 factor) {
    return _mm_cvttps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(samples), factor));
  }

  // 8 products as 32-bit integers.
  struct Products {
    __m128i low;
    __m128i high;
  };

  static Products scale(__m128i words, float factor) {
    const __m128 factors = _mm_set1_ps(factor);
    return {scale(_mm_unpacklo_epi16(words, _mm_setzero_si128()), factors),
            scale(_mm_unpackhi_epi16(words, _mm_setzero_si128()), factors)};
  }

  // The low half of each, its sign carried up so that the signed pack keeps every bit.
  static __m128i low_words(const Products& products) {
    return _mm_packs_epi32(_mm_srai_epi32(_mm_slli_epi32(products.low, 16), 16),
                           _mm_srai_epi32(_mm_slli_epi32(products.high, 16), 16));
  }

  static __m128i low_bytes(const Products& products) {
    const __m128i mask = _mm_set1_epi32(0xFF);
    return _mm_packs_epi32(_mm_and_si128(products.low, mask), _mm_and_si128(products.high, mask));
  }

  static Words scale_words(Words words, float factor) {
    return {low_words(scale(words.low, factor)), low_words(scale(words.high, factor))};
  }

  static __m128i scale_bytes(Words words, float factor) {
    return _mm_packus_epi16(low_bytes(scale(words.low, factor)), low_bytes(scale(words.high, factor)));
  }

  static __m128i close_up(__m128i quads) {
    // Each half holds two pixels; the second moves down over the fourth byte of the first.
    const __m128i first = _mm_set1_epi64x(0x0000000000FFFFFF);
    const __m128i pairs =
        _mm_or_si128(_mm_and_si128(quads, first), _mm_srli_epi64(_mm_andnot_si128(first, quads), 8));
    const __m128i low = _mm_move_epi64(pairs);
    return _mm_or_si128(low, _mm_srli_si128(_mm_xor_si128(pairs, low), 2));
  }

  static void leave() {}
};

}  // namespace

BlockKernels sse2_kernels(const Conversion& conversion) { return choose_blocks<Sse2>(conversion); }

void complete_streaming() { _mm_sfence(); }

}  // namespace orb::region
#else
namespace orb::region {

BlockKernels sse2_kernels(const Conversion&) { return {}; }

void complete_streaming() {}

}  // namespace orb::region
#endif
