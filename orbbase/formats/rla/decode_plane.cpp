// Decoding of byte planes. What costs is following the count bytes, not moving the samples: each token is stored
// by fixed-size copies that go past its end, into samples still to come or the slack, and each kind of data has
// the loop that takes the fewest mispredicted branches.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "orbbase/formats/rla/byte_planes.h"
#include "orbbase/formats/rla/literal_steps.h"
#include "orbbase/formats/rla/plane_coder.h"
#include "orbbase/platform/prefetch.h"
#include "orbbase/platform/processor.h"

namespace orb::rla {
namespace {

template <size_t bytes>
void copy(uint8_t* out, const uint8_t* in) {
  std::memcpy(out, in, bytes);
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

struct PlainCopy {
  static void longest_token(const uint8_t* in, uint8_t* out) { copy<kMaxToken>(out, in); }
};
using Steps = LiteralSteps<PlainCopy>;

// Few tokens, most of them long runs.
Cursor decode_long_runs(Cursor at) {
  while (Steps::has_token(at)) {
    prefetch_after(at.in);
    const ptrdiff_t k = static_cast<int8_t>(at.in[0]);
    if (k >= 0) {
      Steps::store_run<32>(at.out, at.in[1], k + 1);
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
  while (Steps::has_token(at)) {
    prefetch_after(at.in);
    const ptrdiff_t k = static_cast<int8_t>(at.in[0]);
    const ptrdiff_t literal = literal_mask(k);
    const ptrdiff_t count = -k & literal;
    store_literal<32>(at.out, at.in + 1, count);
    at.out += count;
    at.in += count - literal;
    const ptrdiff_t next = static_cast<int8_t>(at.in[0]);
    if (next < 0 || !Steps::has_token(at)) continue;
    Steps::store_run<32>(at.out, at.in[1], next + 1);
    at.out += next + 1;
    at.in += 2;
  }
  return at;
}

using Loop = Cursor (*)(Cursor);

// By what is known before: how many bytes the samples have become. It decides on the speed only.
Loop choose_loop(size_t coded, size_t samples) {
  if (coded < samples / 5) return decode_long_runs;
  if (coded > samples - samples / 16) return Steps::decode;
  return decode_short_tokens;
}

Cursor cursor_at(std::span<const uint8_t> coded, std::span<uint8_t> plane) {
  return {coded.data(), coded.data() + coded.size(), plane.data(), plane.data() + plane.size()};
}

size_t used_bytes(std::span<const uint8_t> coded, const Cursor& end) {
  if (end.out != end.out_end || end.in > end.in_end) return kCannotDecode;
  return static_cast<size_t>(end.in - coded.data());
}

size_t decode(std::span<const uint8_t> coded, std::span<uint8_t> plane, Loop loop) {
  return used_bytes(coded, loop(cursor_at(coded, plane)));
}

DecodeAbreast choose_abreast() {
  const DecodeAbreast avx2 = platform::has_avx2() ? avx2_decode_abreast() : nullptr;
  return avx2 ? avx2 : plain_decode_abreast();
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

DecodeAbreast plain_decode_abreast() { return Steps::decode_abreast; }

size_t decode_plane(std::span<const uint8_t> coded, std::span<uint8_t> plane) {
  return decode(coded, plane, choose_loop(coded.size(), plane.size()));
}

bool decode_abreast(const CodedPlane (&planes)[kAbreast]) {
  const auto is_literal = [](const CodedPlane& plane) {
    return choose_loop(plane.coded.size(), plane.samples.size()) == Steps::decode;
  };
  const auto decodes_whole = [](const CodedPlane& plane) {
    return decode_plane(plane.coded, plane.samples) == plane.coded.size();
  };
  if (!std::all_of(std::begin(planes), std::end(planes), is_literal))
    return std::all_of(std::begin(planes), std::end(planes), decodes_whole);
  Cursor cursors[kAbreast];
  for (size_t i = 0; i < kAbreast; ++i) cursors[i] = cursor_at(planes[i].coded, planes[i].samples);
  choose_abreast()(cursors);
  for (size_t i = 0; i < kAbreast; ++i) {
    if (used_bytes(planes[i].coded, cursors[i]) != planes[i].coded.size()) return false;
  }
  return true;
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
