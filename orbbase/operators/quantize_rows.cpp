#include "orbbase/operators/quantize_rows.h"

#include <algorithm>
#include <cstring>

#include "orbbase/platform/prefetch.h"
#include "orbbase/response.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orb::quantize {
namespace {

// One full code, and nearly the next: 1.0 becomes the largest code, and so does what is just below it.
constexpr double kAlmostNext = 0.95;

// Rows of mixed groups begin at even addresses, no better.
template <class Out, class In>
void convert_samples(const uint8_t* in, uint8_t* out, size_t begin, size_t end, In factor) {
  for (size_t i = begin; i < end; ++i) {
    In sample;
    std::memcpy(&sample, in + i * sizeof sample, sizeof sample);
    const In product = sample * factor;
    const bool is_integer = product > In{-0x1p63} && product < In{0x1p63};
    const auto code = static_cast<Out>(static_cast<int64_t>(is_integer ? product : In{0}));
    std::memcpy(out + i * sizeof code, &code, sizeof code);
  }
}

// The vector forms convert whole blocks and return how many samples they did.
template <class Out, class In>
struct Blocks {
  static size_t convert(const uint8_t*, uint8_t*, size_t, In) { return 0; }
};

#if defined(__SSE2__)

__m128i products(const uint8_t* in, __m128 factor) {
  return _mm_cvttps_epi32(_mm_mul_ps(_mm_loadu_ps(reinterpret_cast<const float*>(in)), factor));
}

// Products of 2^31 and more are multiples of 256 in single precision: their low 8 bits are 0, as are those of
// what the conversion gives for them.
template <>
struct Blocks<uint8_t, float> {
  static size_t convert(const uint8_t* in, uint8_t* out, size_t count, float factor) {
    const __m128 scale = _mm_set1_ps(factor);
    const __m128i low_byte = _mm_set1_epi32(0xFF);
    size_t i = 0;
    for (; count - i >= 16; i += 16) {
      prefetch_after(in + 4 * i);
      __m128i parts[4];
      for (size_t k = 0; k < 4; ++k)
        parts[k] = _mm_and_si128(products(in + 4 * (i + 4 * k), scale), low_byte);
      const __m128i low = _mm_packs_epi32(parts[0], parts[1]);
      const __m128i high = _mm_packs_epi32(parts[2], parts[3]);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(low, high));
    }
    return i;
  }
};

// Whether one of the products has no 32-bit integer, or may have none.
bool is_beyond(__m128i a, __m128i b) {
  const __m128i none = _mm_set1_epi32(INT32_MIN);
  return _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi32(a, none), _mm_cmpeq_epi32(b, none))) != 0;
}

void store(uint16_t*, uint8_t* out, __m128i low, __m128i high) {
  // The low 16 bits, extended by their sign, pass the saturating pack as they are.
  const __m128i low_words = _mm_srai_epi32(_mm_slli_epi32(low, 16), 16);
  const __m128i high_words = _mm_srai_epi32(_mm_slli_epi32(high, 16), 16);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packs_epi32(low_words, high_words));
}

void store(uint32_t*, uint8_t* out, __m128i low, __m128i high) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), low);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16), high);
}

template <class Out>
struct Blocks<Out, float> {
  static size_t convert(const uint8_t* in, uint8_t* out, size_t count, float factor) {
    const __m128 scale = _mm_set1_ps(factor);
    size_t i = 0;
    for (; count - i >= 8; i += 8) {
      prefetch_after(in + 4 * i);
      const __m128i low = products(in + 4 * i, scale);
      const __m128i high = products(in + 4 * i + 16, scale);
      if (is_beyond(low, high)) {
        convert_samples<Out, float>(in, out, i, i + 8, factor);
      } else {
        store(static_cast<Out*>(nullptr), out + i * sizeof(Out), low, high);
      }
    }
    return i;
  }
};

#endif

template <class In, class Out>
void convert(const uint8_t* in, uint8_t* out, size_t count, double factor) {
  const auto scale = static_cast<In>(factor);
  convert_samples<Out, In>(in, out, Blocks<Out, In>::convert(in, out, count, scale), count, scale);
}

template <class In>
Converter converter_to(uint32_t bytes) {
  return bytes == 1 ? convert<In, uint8_t> : bytes == 2 ? convert<In, uint16_t> : convert<In, uint32_t>;
}

}  // namespace

double factor(int32_t width) {
  const auto codes = static_cast<double>((uint64_t{1} << std::clamp(width, 0, 32)) - 1);
  return codes + kAlmostNext;
}

Converter converter(uint32_t type, int32_t width) {
  const uint32_t bytes = integer_bytes(width);
  return type == ORB_C_FLOAT ? converter_to<float>(bytes) : converter_to<double>(bytes);
}

}  // namespace orb::quantize
