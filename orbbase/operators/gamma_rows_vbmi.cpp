// Table look-up by byte permutes: the table of 256 entries lies in four registers, and two permutes of two
// registers each cover it. Compiled for AVX-512 with VBMI, called only where the processor has it.
#include "orbbase/operators/gamma_rows.h"

#if defined(__AVX512VBMI__) && defined(__AVX512BW__)
#include <immintrin.h>
#endif

namespace orb::gamma {

#if defined(__AVX512VBMI__) && defined(__AVX512BW__)

namespace {

void permute(ByteTable table, std::span<uint8_t> samples) {
  const uint8_t* entries = table.data();
  const __m512i first = _mm512_loadu_si512(entries);
  const __m512i second = _mm512_loadu_si512(entries + 64);
  const __m512i third = _mm512_loadu_si512(entries + 128);
  const __m512i fourth = _mm512_loadu_si512(entries + 192);
  for (size_t i = 0; i < samples.size(); i += 64) {
    const size_t left = samples.size() - i;
    const __mmask64 mask = left >= 64 ? ~__mmask64{0} : (__mmask64{1} << left) - 1;
    uint8_t* const block = samples.data() + i;
    const __m512i in = _mm512_maskz_loadu_epi8(mask, block);
    const __m512i low = _mm512_permutex2var_epi8(first, in, second);
    const __m512i high = _mm512_permutex2var_epi8(third, in, fourth);
    const __m512i found = _mm512_mask_blend_epi8(_mm512_movepi8_mask(in), low, high);
    _mm512_mask_storeu_epi8(block, mask, found);
  }
  _mm256_zeroupper();  // dirty upper halves would slow down all code after this
}

}  // namespace

LookUp look_up_by_permute() { return permute; }

#else

LookUp look_up_by_permute() { return nullptr; }

#endif

}  // namespace orb::gamma
