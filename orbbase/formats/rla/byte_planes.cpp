#include "orbbase/formats/rla/byte_planes.h"

#include <cstddef>

namespace orb::rla {
namespace {

// Pointers that promise to be apart: without that, compilers do not make vector code of these loops.
using Bytes = uint8_t* __restrict;
using ConstBytes = const uint8_t* __restrict;

}  // namespace

void join_planes(std::span<const uint8_t> planes, std::span<uint16_t> samples) {
  const size_t count = samples.size();
  ConstBytes high = planes.data();
  ConstBytes low = high + count;
  uint16_t* __restrict out = samples.data();
  for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint16_t>(high[i] << 8 | low[i]);
}

void join_planes(std::span<const uint8_t> planes, std::span<uint32_t> samples) {
  const size_t count = samples.size();
  ConstBytes first = planes.data();
  ConstBytes second = first + count;
  ConstBytes third = second + count;
  ConstBytes fourth = third + count;
  uint32_t* __restrict out = samples.data();
  for (size_t i = 0; i < count; ++i) {
    out[i] = uint32_t{first[i]} << 24 | uint32_t{second[i]} << 16 | uint32_t{third[i]} << 8 | fourth[i];
  }
}

void split_planes(std::span<const uint16_t> samples, std::span<uint8_t> planes) {
  const size_t count = samples.size();
  Bytes high = planes.data();
  Bytes low = high + count;
  const uint16_t* __restrict in = samples.data();
  for (size_t i = 0; i < count; ++i) {
    high[i] = static_cast<uint8_t>(in[i] >> 8);
    low[i] = static_cast<uint8_t>(in[i]);
  }
}

void split_planes(std::span<const uint32_t> samples, std::span<uint8_t> planes) {
  const size_t count = samples.size();
  Bytes first = planes.data();
  Bytes second = first + count;
  Bytes third = second + count;
  Bytes fourth = third + count;
  const uint32_t* __restrict in = samples.data();
  for (size_t i = 0; i < count; ++i) {
    first[i] = static_cast<uint8_t>(in[i] >> 24);
    second[i] = static_cast<uint8_t>(in[i] >> 16);
    third[i] = static_cast<uint8_t>(in[i] >> 8);
    fourth[i] = static_cast<uint8_t>(in[i]);
  }
}

}  // namespace orb::rla
