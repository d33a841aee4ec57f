// The loop for planes of long literals, with a run here and there at no place that a branch could learn. Internal
// to the decoder; the forms differ in how they copy, and the portable one is their definition.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "orbbase/formats/rla/plane_coder.h"
#include "orbbase/platform/prefetch.h"

namespace orb::rla {

inline constexpr ptrdiff_t kMaxToken = 128;  // samples

// Where decoding stands. A token that begins before both ends is decoded whole: with damaged data `in` and `out`
// then lie past their ends, by no more than the slack, and that is the verdict.
struct Cursor {
  const uint8_t* in;
  const uint8_t* in_end;
  uint8_t* out;
  uint8_t* out_end;
};

// Decodes planes of about as many tokens in turns: each step of one waits for its last, but not for the others'.
// What may be overwritten after a plane is in no other plane.
using DecodeAbreast = void (*)(Cursor (&planes)[kAbreast]);
DecodeAbreast plain_decode_abreast();
DecodeAbreast avx2_decode_abreast();  // for processors that have it; null where it was not built

// Copy is a type of the including file, so that no two files share code that one of them compiled for a processor
// of its own.
template <class Copy>
struct LiteralSteps {
  static bool has_token(const Cursor& at) { return at.in < at.in_end && at.out < at.out_end; }

  // Stores `wide` samples, whatever the count, and more of them only when it needs them.
  template <ptrdiff_t wide>
  static void store_run(uint8_t* out, uint8_t value, ptrdiff_t count) {
    std::memset(out, value, static_cast<size_t>(wide));
    if constexpr (wide < kMaxToken) {
      if (count > wide) store_run<2 * wide>(out, value, count);
    }
  }

  // A literal, and what its count alone tells of what follows: a literal after one of the longest, a run after all
  // others. Where that is wrong, the step ends early.
  static void step(Cursor& at, size_t ahead) {
    prefetch_after(at.in, ahead);
    prefetch_after(at.in + 64, ahead);
    const ptrdiff_t k = static_cast<int8_t>(at.in[0]);
    if (__builtin_expect(k >= 0, 0)) {
      store_run<16>(at.out, at.in[1], k + 1);
      at.out += k + 1;
      at.in += 2;
      return;
    }
    Copy::longest_token(at.in + 1, at.out);
    const ptrdiff_t has_run = -static_cast<ptrdiff_t>(k != -kMaxToken);
    at.in += 1 - k;
    at.out -= k;
    const ptrdiff_t next = static_cast<int8_t>(at.in[0]);
    if (__builtin_expect((next & has_run) < 0 || at.out >= at.out_end, 0)) return;
    const ptrdiff_t count = (next + 1) & has_run;
    store_run<16>(at.out, at.in[1], count);
    at.out += count;
    at.in += 2 & has_run;
  }

  static Cursor decode(Cursor at) {
    while (has_token(at)) step(at, kPrefetchBytes);
    return at;
  }

  static void decode_abreast(Cursor (&planes)[kAbreast]) {
    // The same channel's place in the next line, where lines follow each other.
    const size_t ahead =
        reinterpret_cast<uintptr_t>(planes[2].in_end) - reinterpret_cast<uintptr_t>(planes[0].in);
    Cursor first = planes[0];
    Cursor second = planes[1];
    Cursor third = planes[2];
    while (has_token(first) && has_token(second) && has_token(third)) {
      step(first, ahead);
      step(second, ahead);
      step(third, ahead);
    }
    planes[0] = decode(first);
    planes[1] = decode(second);
    planes[2] = decode(third);
  }
};

}  // namespace orb::rla
