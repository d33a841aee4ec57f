#include "orbbase/operators/minmax_rows.h"

#include <cmath>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orb::minmax {
namespace {

uint8_t remap(uint32_t sample, float scale, int32_t offset) {
  const float product = static_cast<float>(sample) * scale;
  const bool is_integer = product > -0x1p63F && product < 0x1p63F;
  const auto cut = static_cast<int64_t>(is_integer ? product : 0.0F);
  return static_cast<uint8_t>(static_cast<uint64_t>(cut) + static_cast<uint64_t>(int64_t{offset}));
}

uint8_t remap_linear(const Ramp& ramp, uint32_t sample) {
  const uint32_t product = sample * ramp.whole + (sample * ramp.fraction >> 16);
  return static_cast<uint8_t>((ramp.is_negative ? 0 - product : product) + ramp.offset);
}

bool is_exact(const Ramp& ramp) {
  for (uint32_t s = 0; s < 256; ++s) {
    if (remap_linear(ramp, s) != ramp.table[s]) return false;
  }
  return true;
}

// Two steps of 256 samples that differ are further apart than 1 / 65536, so that rounding a scale to this grid
// one way or the other gives the same table; where single precision says otherwise there is none.
void find_linear(float scale, Ramp& ramp) {
  const double size = std::fabs(static_cast<double>(scale));
  if (!(size < 65535)) return;
  ramp.is_negative = scale < 0;
  const auto steps = static_cast<uint64_t>(size * 65536);
  for (uint64_t candidate = steps; candidate <= steps + 1 && !ramp.is_linear; ++candidate) {
    ramp.whole = static_cast<uint16_t>(candidate >> 16);
    ramp.fraction = static_cast<uint16_t>(candidate);
    ramp.is_linear = is_exact(ramp);
  }
}

#if defined(__SSE2__)

__m128i products(__m128i samples, __m128i whole, __m128i fraction) {
  return _mm_add_epi16(_mm_mullo_epi16(samples, whole), _mm_mulhi_epu16(samples, fraction));
}

// Whole blocks of 32; returns the samples done.
template <bool is_negative>
size_t apply_blocks(const Ramp& ramp, std::span<uint8_t> samples) {
  const __m128i whole = _mm_set1_epi16(static_cast<int16_t>(ramp.whole));
  const __m128i fraction = _mm_set1_epi16(static_cast<int16_t>(ramp.fraction));
  const __m128i offset = _mm_set1_epi8(static_cast<char>(ramp.offset));
  const __m128i low_byte = _mm_set1_epi16(0xFF);
  const __m128i zero = _mm_setzero_si128();
  size_t i = 0;
  for (; samples.size() - i >= 32; i += 32) {
    for (size_t half = 0; half < 32; half += 16) {
      auto* const block = reinterpret_cast<__m128i*>(samples.data() + i + half);
      const __m128i in = _mm_loadu_si128(block);
      const __m128i low = _mm_and_si128(products(_mm_unpacklo_epi8(in, zero), whole, fraction), low_byte);
      const __m128i high = _mm_and_si128(products(_mm_unpackhi_epi8(in, zero), whole, fraction), low_byte);
      const __m128i product = _mm_packus_epi16(low, high);
      _mm_storeu_si128(block, is_negative ? _mm_sub_epi8(offset, product) : _mm_add_epi8(offset, product));
    }
  }
  return i;
}

size_t apply_blocks(const Ramp& ramp, std::span<uint8_t> samples) {
  if (!ramp.is_linear) return 0;
  return ramp.is_negative ? apply_blocks<true>(ramp, samples) : apply_blocks<false>(ramp, samples);
}

#else

size_t apply_blocks(const Ramp&, std::span<uint8_t>) { return 0; }

#endif

}  // namespace

Ramp make_ramp(float scale, int32_t offset) {
  Ramp ramp = {};
  ramp.offset = static_cast<uint8_t>(offset);
  for (uint32_t s = 0; s < 256; ++s) ramp.table[s] = remap(s, scale, offset);
  find_linear(scale, ramp);
  return ramp;
}

void apply(const Ramp& ramp, std::span<uint8_t> samples) {
  for (uint8_t& sample : samples.subspan(apply_blocks(ramp, samples))) sample = ramp.table[sample];
}

}  // namespace orb::minmax
