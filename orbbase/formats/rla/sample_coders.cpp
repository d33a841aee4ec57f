#include "orbbase/formats/rla/sample_coders.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "orbbase/formats/rla/plane_coder.h"

namespace orb::rla {
namespace {

template <class Sample>
Sample* as_samples(uint8_t* bytes) {
  return reinterpret_cast<Sample*>(bytes);
}

bool decode_bytes(std::span<const uint8_t> block, uint8_t* samples, size_t count, std::span<uint8_t>) {
  return decode_plane(block, {samples, count}) == block.size();
}

// Bytes left over behind the planes of wider samples are no fault, on purpose: only the narrow ones are held to
// their count.
template <class Sample>
bool decode_wide(std::span<const uint8_t> block, uint8_t* samples, size_t count, std::span<uint8_t> scratch) {
  return decode_planes(block, std::span(as_samples<Sample>(samples), count), scratch) != kCannotDecode;
}

template <size_t SampleBytes>
bool copy_in(std::span<const uint8_t> block, uint8_t* samples, size_t count, std::span<uint8_t>) {
  if (block.size() != count * SampleBytes) return false;
  std::memcpy(samples, block.data(), block.size());
  return true;
}

size_t encode_bytes(const uint8_t* samples, size_t count, std::span<uint8_t> block, std::span<uint8_t>) {
  return encode_plane({samples, count}, block);
}

// An application's rows of wide samples need not be aligned: a copy is, at the end of scratch.
template <class Sample>
size_t encode_wide(const uint8_t* samples, size_t count, std::span<uint8_t> block,
                   std::span<uint8_t> scratch) {
  const std::span<uint8_t> planes = scratch.first(scratch_bytes(count, sizeof(Sample)));
  if (reinterpret_cast<uintptr_t>(samples) % alignof(Sample) != 0) {
    uint8_t* copy = scratch.data() + scratch.size() - count * sizeof(Sample);
    copy -= reinterpret_cast<uintptr_t>(copy) % alignof(Sample);
    std::memcpy(copy, samples, count * sizeof(Sample));
    samples = copy;
  }
  return encode_planes(std::span(reinterpret_cast<const Sample*>(samples), count), block, planes);
}

template <size_t SampleBytes>
size_t copy_out(const uint8_t* samples, size_t count, std::span<uint8_t> block, std::span<uint8_t>) {
  std::memcpy(block.data(), samples, count * SampleBytes);
  return count * SampleBytes;
}

struct Row {
  uint32_t type;
  int32_t most_bits;
  SampleCoder coder;
};
// The first that fits serves; any width of 8 bits or less, even none, is the first.
constexpr Row kRows[] = {
    {ORB_C_INTEGER, 8, {1, true, decode_bytes, encode_bytes}},
    {ORB_C_INTEGER, 16, {2, true, decode_wide<uint16_t>, encode_wide<uint16_t>}},
    {ORB_C_INTEGER, 32, {4, true, decode_wide<uint32_t>, encode_wide<uint32_t>}},
    {ORB_C_FLOAT, INT32_MAX, {4, false, copy_in<4>, copy_out<4>}},
    {ORB_C_DOUBLE, INT32_MAX, {8, false, copy_in<8>, copy_out<8>}},
};

}  // namespace

uint64_t SampleCoder::block_room(uint64_t count) const {
  return is_coded ? coded_bytes(count, sample_bytes) : count * sample_bytes;
}

uint64_t SampleCoder::least_block_bytes(uint64_t count) const {
  constexpr uint64_t kTokenSamples = 128;
  return is_coded ? 2 * sample_bytes * ((count + kTokenSamples - 1) / kTokenSamples) : count * sample_bytes;
}

uint64_t SampleCoder::scratch_bytes(uint64_t count) const {
  constexpr uint64_t kAlignment = 4;
  return is_coded && sample_bytes > 1
             ? rla::scratch_bytes(count, sample_bytes) + count * sample_bytes + kAlignment
             : 0;
}

const SampleCoder* sample_coder(const ORB_CHANNELS& group) {
  for (const Row& row : kRows) {
    if (row.type == group.type && group.width <= row.most_bits) return &row.coder;
  }
  return nullptr;
}

uint64_t most_block_bytes(const ORB_IFD& ifd, uint64_t window_width) {
  const auto bits_of = [](const ORB_CHANNELS& group) {
    return group.type == ORB_C_FLOAT ? 32 : group.type == ORB_C_DOUBLE ? 64 : group.width;
  };
  const int32_t bits = std::max({bits_of(ifd.color), bits_of(ifd.matte), bits_of(ifd.aux)});
  return window_width * (bits <= 8 ? 2U : bits <= 16 ? 4U : bits <= 32 ? 8U : 16U);
}

}  // namespace orb::rla
