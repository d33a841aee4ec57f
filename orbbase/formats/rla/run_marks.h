// Where a plane's runs are: 64 samples become a word with a bit for each sample that begins three equal ones.
// Internal to the encoder; the forms give the same words, and the portable one is their definition.
#pragma once

#include <cstddef>
#include <cstdint>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orb::rla {

inline constexpr size_t kMarkedSamples = 64;                 // samples a word is for
inline constexpr size_t kMarkingReads = kMarkedSamples + 2;  // samples that must be readable

// Bit i tells of sample i, whatever the byte order.
struct PortableMarks {
  static uint64_t word(const uint8_t* samples) {
    uint64_t marks = 0;
    for (size_t i = 0; i < kMarkedSamples; ++i) {
      const bool is_mark = samples[i] == samples[i + 1] && samples[i] == samples[i + 2];
      marks |= uint64_t{is_mark} << i;
    }
    return marks;
  }
};

#if defined(__SSE2__)
struct Sse2Marks {
  static uint64_t word(const uint8_t* samples) {
    uint64_t marks = 0;
    for (size_t i = 0; i < kMarkedSamples; i += 16) marks |= uint64_t{marks_of_16(samples + i)} << i;
    return marks;
  }

 private:
  static __m128i load(const uint8_t* samples) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples));
  }

  static uint32_t marks_of_16(const uint8_t* samples) {
    const __m128i second = load(samples + 1);
    const __m128i equal_first = _mm_cmpeq_epi8(load(samples), second);
    const __m128i equal_third = _mm_cmpeq_epi8(second, load(samples + 2));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_and_si128(equal_first, equal_third)));
  }
};
using BestMarks = Sse2Marks;
#else
using BestMarks = PortableMarks;
#endif

}  // namespace orb::rla
