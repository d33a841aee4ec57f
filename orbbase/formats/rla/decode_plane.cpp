// Decoding of byte planes. What costs is following the count bytes, not moving the samples: each token is stored
// by fixed-size copies that go past its end, into samples still to come or the slack, and each kind of data has
// the loop that takes the fewest mispredicted branches.
#include <cstring>

#include "orbbase/formats/rla/byte_planes.h"
#include "orbbase/formats/rla/plane_coder.h"
#include "orbbase/formats/rla/prefetch.h"

namespace orb::rla {
namespace {

constexpr ptrdiff_t kMaxToken = 128;  // samples

// Where decoding stands. A token that begins before both ends is decoded whole: with damaged data `in` and `out`
// then lie past their ends, by no more than the slack, and that is the verdict.
struct Cursor {
  const uint8_t* in;
  const uint8_t* in_end;
  uint8_t* out;
  uint8_t* out_end;

  [[nodiscard]] bool has_token() const { return in < in_end && out < out_end; }
};

template <size_t bytes>
void copy(uint8_t* out, const uint8_t* in) {
  std::memcpy(out, in, bytes);
}

template <size_t bytes>
void fill(uint8_t* out, uint8_t value) {
  std::memset(out, value, bytes);
}

// All ones for the count byte of a literal, 0 for that of a run.
ptrdiff_t literal_mask(ptrdiff_t k) { return k >> (8 * sizeof(k) - 1); }

// Copies `wide` bytes, whatever the count, and more of them only when it needs them.
template <ptrdiff_t wide>
void store_literal(uint8_t* out, const uint8_t* in, ptrdiff_t count) {
  copy<wide>(out, in);
  if constexpr (wide < kMaxToken) {
    if (count > wide) store_literal<2 * wide>(out, in, count);
  }
}

template <ptrdiff_t wide>
void store_run(uint8_t* out, uint8_t value, ptrdiff_t count) {
  fill<wide>(out, value);
  if constexpr (wide < kMaxToken) {
    if (count > wide) store_run<2 * wide>(out, value, count);
  }
}

// Few tokens, most of them long runs.
Cursor decode_long_runs(Cursor at) {
  while (at.has_token()) {
    prefetch_after(at.in);
    const ptrdiff_t k = static_cast<int8_t>(at.in[0]);
    if (k >= 0) {
      store_run<32>(at.out, at.in[1], k + 1);
      at.out += k + 1;
      at.in += 2;
    } else {
      store_literal<32>(at.out, at.in + 1, -k);
      at.out += -k;
      at.in += 1 - k;
    }
  }
  return at;
}

// Many short tokens: literals, of any length or none, and runs in turn. Only a literal's count decides where the
// next step begins.
Cursor decode_short_tokens(Cursor at) {
  while (at.has_token()) {
    prefetch_after(at.in);
    const ptrdiff_t k = static_cast<int8_t>(at.in[0]);
    const ptrdiff_t literal = literal_mask(k);
    const ptrdiff_t count = -k & literal;
    store_literal<32>(at.out, at.in + 1, count);
    at.out += count;
    at.in += count - literal;
    const ptrdiff_t next = static_cast<int8_t>(at.in[0]);
    if (next < 0 || !at.has_token()) continue;
    store_run<32>(at.out, at.in[1], next + 1);
    at.out += next + 1;
    at.in += 2;
  }
  return at;
}

// Long literals with a run here and there, at no place that a branch could learn. What follows a literal is taken
// from its count alone: a literal after one of the longest, a run after all others. Where that is wrong, the step
// ends early.
Cursor decode_long_literals(Cursor at) {
  while (at.has_token()) {
    prefetch_after(at.in);
    prefetch_after(at.in + 64);
    const ptrdiff_t k = static_cast<int8_t>(at.in[0]);
    const ptrdiff_t literal = literal_mask(k);
    const ptrdiff_t has_run = -static_cast<ptrdiff_t>(k != -kMaxToken);
    const uint8_t* const run = at.in + (literal & (1 - k));
    copy<kMaxToken>(at.out, at.in + 1);
    at.out += literal & -k;
    at.in = run;
    const ptrdiff_t next = static_cast<int8_t>(run[0]);
    if ((next & has_run) < 0 || !at.has_token()) continue;
    store_run<32>(at.out, run[1], (next + 1) & has_run);
    at.out += (next + 1) & has_run;
    at.in += 2 & has_run;
  }
  return at;
}

using Loop = Cursor (*)(Cursor);

// By what is known before: how many bytes the samples have become. It decides on the speed only.
Loop choose_loop(size_t coded, size_t samples) {
  if (coded < samples / 5) return decode_long_runs;
  if (coded > samples - samples / 16) return decode_long_literals;
  return decode_short_tokens;
}

size_t decode(std::span<const uint8_t> coded, std::span<uint8_t> plane, Loop loop) {
  const uint8_t* const coded_end = coded.data() + coded.size();
  uint8_t* const plane_end = plane.data() + plane.size();
  const Cursor end = loop({coded.data(), coded_end, plane.data(), plane_end});
  if (end.out != plane_end || end.in > coded_end) return kCannotDecode;
  return static_cast<size_t>(end.in - coded.data());
}

template <class Sample>
size_t decode_all(std::span<const uint8_t> coded, std::span<Sample> samples, std::span<uint8_t> scratch) {
  size_t used = 0;
  for (size_t plane = 0; plane < sizeof(Sample); ++plane) {
    const std::span<uint8_t> out = scratch.subspan(plane * samples.size()).first(samples.size());
    const std::span<const uint8_t> rest = coded.subspan(used);
    const size_t plane_used =
        decode(rest, out, choose_loop(rest.size() / (sizeof(Sample) - plane), out.size()));
    if (plane_used == kCannotDecode) return kCannotDecode;
    used += plane_used;
  }
  join_planes(scratch, samples);
  return used;
}

}  // namespace

size_t decode_plane(std::span<const uint8_t> coded, std::span<uint8_t> plane) {
  return decode(coded, plane, choose_loop(coded.size(), plane.size()));
}

size_t decode_planes(std::span<const uint8_t> coded, std::span<uint16_t> samples,
                     std::span<uint8_t> scratch) {
  return decode_all(coded, samples, scratch);
}

size_t decode_planes(std::span<const uint8_t> coded, std::span<uint32_t> samples,
                     std::span<uint8_t> scratch) {
  return decode_all(coded, samples, scratch);
}

}  // namespace orb::rla
