// Planes of long literals with AVX2, which copies a token in half as many steps. Compiled for that processor and
// called on no other.
#include "orbbase/formats/rla/literal_steps.h"

#if defined(__AVX2__)
#include <immintrin.h>

namespace orb::rla {
namespace {

struct Avx2Copy {
  static void longest_token(const uint8_t* in, uint8_t* out) {
    for (ptrdiff_t i = 0; i < kMaxToken; i += 32) {
      const __m256i samples = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), samples);
    }
  }
};

void decode_abreast(Cursor (&planes)[kAbreast]) {
  LiteralSteps<Avx2Copy>::decode_abreast(planes);
  _mm256_zeroupper();  // code without AVX is slow while the upper halves of the registers are in use
}

}  // namespace

DecodeAbreast avx2_decode_abreast() { return decode_abreast; }

}  // namespace orb::rla
#else
namespace orb::rla {

DecodeAbreast avx2_decode_abreast() { return nullptr; }

}  // namespace orb::rla
#endif
