// Any bytes as a coded row of samples of 1, 2 or 4 bytes: decoding stays inside its memory and agrees with a byte
// loop on whether they are a row, how many of them are used, and on every sample.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include "orbbase/formats/rla/plane_coder.h"

namespace {

using Bytes = std::span<const uint8_t>;

// Adds a plane to the samples' low ends; nothing when the bytes are no plane.
std::optional<size_t> add_plane(Bytes coded, std::vector<uint32_t>& samples) {
  size_t in = 0;
  for (size_t out = 0; out < samples.size();) {
    if (in == coded.size()) return std::nullopt;
    const bool is_run = coded[in] < 128;
    const size_t count = is_run ? coded[in] + 1u : 256u - coded[in];
    const size_t bytes = is_run ? 1 : count;
    ++in;
    if (count > samples.size() - out || bytes > coded.size() - in) return std::nullopt;
    for (size_t i = 0; i < count; ++i, ++out) samples[out] = samples[out] << 8 | coded[in + (is_run ? 0 : i)];
    in += bytes;
  }
  return in;
}

size_t decode_slowly(Bytes coded, size_t planes, std::vector<uint32_t>& samples) {
  size_t used = 0;
  for (size_t plane = 0; plane < planes; ++plane) {
    const auto more = add_plane(coded.subspan(used), samples);
    if (!more) return orb::rla::kCannotDecode;
    used += *more;
  }
  return used;
}

template <class Sample>
size_t decode(Bytes coded, Sample* samples, size_t count) {
  if constexpr (sizeof(Sample) == 1) return orb::rla::decode_plane(coded, {samples, count});
  if constexpr (sizeof(Sample) != 1) {
    const size_t room = orb::rla::scratch_bytes(count, sizeof(Sample));
    const auto scratch = std::make_unique<uint8_t[]>(room);
    return orb::rla::decode_planes(coded, {samples, count}, {scratch.get(), room});
  }
}

template <class Sample>
void check(Bytes coded, size_t count) {
  const size_t slack = sizeof(Sample) == 1 ? orb::rla::kPlaneSlack : 0;
  const auto samples = std::make_unique<Sample[]>(count + slack);
  std::vector<uint32_t> wanted(count);
  const size_t wanted_used = decode_slowly(coded, sizeof(Sample), wanted);
  if (decode(coded, samples.get(), count) != wanted_used) std::abort();
  if (wanted_used == orb::rla::kCannotDecode) return;
  if (!std::equal(wanted.begin(), wanted.end(), samples.get())) std::abort();
}

}  // namespace

// The first two bytes choose the sample's size and the length of the row.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const size_t count = (data[0] & 0x0fu) << 8 | data[1];
  const auto padded = std::make_unique<uint8_t[]>(size - 2 + orb::rla::kCodedSlack);
  std::copy(data + 2, data + size, padded.get());
  const Bytes coded(padded.get(), size - 2);
  switch (data[0] >> 4 & 3) {
    case 0:
      check<uint16_t>(coded, count);
      break;
    case 1:
      check<uint32_t>(coded, count);
      break;
    default:
      check<uint8_t>(coded, count);
      break;
  }
  return 0;
}
