#include "samples.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "plugins/common/half.h"

namespace orb::tiff {
namespace {

constexpr bool kIsLittle = std::endian::native == std::endian::little;

template <class T>
T load(const uint8_t* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

template <class T>
void store(uint8_t* at, T value) {
  std::memcpy(at, &value, sizeof value);
}

uint64_t first_bit_highest(uint64_t value) { return kIsLittle ? __builtin_bswap64(value) : value; }

template <class File, class Out>
void take(const Place& place, const uint8_t* packed, size_t pixels, void* out) {
  Out* row = static_cast<Out*>(out);
  const size_t step = place.unit * sizeof(File);
  const uint8_t* at = packed + place.channel * sizeof(File);
  if (place.unit == 1 && sizeof(File) == sizeof(Out)) {
    std::memcpy(row, at, pixels * sizeof(Out));
    return;
  }
  for (size_t i = 0; i < pixels; ++i, at += step) row[i] = load<File>(at);
}

void take_threes(const Place& place, const uint8_t* packed, size_t pixels, void* out) {
  auto* row = static_cast<uint32_t*>(out);
  const uint8_t* at = packed + place.channel * 3;
  for (size_t i = 0; i < pixels; ++i, at += place.unit * 3) {
    const uint32_t four = load<uint32_t>(at);
    row[i] = kIsLittle ? four & 0xFFFFFFU : four >> 8;
  }
}

void take_halves(const Place& place, const uint8_t* packed, size_t pixels, void* out) {
  auto* row = static_cast<uint32_t*>(out);
  const uint8_t* at = packed + place.channel * 2;
  for (size_t i = 0; i < pixels; ++i, at += place.unit * 2)
    row[i] = plugin::float_from_half(load<uint16_t>(at));
}

// Samples that no byte cuts, 8 / kBits of them in each.
template <size_t kBits>
constexpr uint8_t nth_of_byte(uint8_t byte, size_t i) {
  return static_cast<uint8_t>(byte >> (8 - kBits * (i + 1)) & ((1U << kBits) - 1));
}

template <size_t kBits, class Out>
void take_parts_of_bytes(const Place& place, const uint8_t* packed, size_t pixels, Out* row) {
  constexpr size_t kInByte = 8 / kBits;
  if (place.unit > 1) {
    size_t at = place.channel;
    for (size_t i = 0; i < pixels; ++i, at += place.unit) {
      row[i] = nth_of_byte<kBits>(packed[at / kInByte], at % kInByte);
    }
    return;
  }
  const size_t whole = pixels / kInByte;
  for (size_t i = 0; i < whole; ++i, row += kInByte) {
    for (size_t k = 0; k < kInByte; ++k) row[k] = nth_of_byte<kBits>(packed[i], k);
  }
  for (size_t k = 0; k < pixels % kInByte; ++k) row[k] = nth_of_byte<kBits>(packed[whole], k);
}

template <class Out>
void take_any_bits(const Place& place, const uint8_t* packed, size_t pixels, Out* row) {
  const auto bits = static_cast<size_t>(place.bits);
  size_t at = place.channel * bits;
  for (size_t i = 0; i < pixels; ++i, at += place.unit * bits) {
    const uint64_t window = first_bit_highest(load<uint64_t>(packed + at / 8)) << (at % 8);
    row[i] = static_cast<Out>(window >> (64 - bits));
  }
}

template <class Out>
void take_bits(const Place& place, const uint8_t* packed, size_t pixels, void* out) {
  Out* row = static_cast<Out*>(out);
  switch (place.bits) {
    case 1:
      return take_parts_of_bytes<1>(place, packed, pixels, row);
    case 2:
      return take_parts_of_bytes<2>(place, packed, pixels, row);
    case 4:
      return take_parts_of_bytes<4>(place, packed, pixels, row);
    default:
      return take_any_bits(place, packed, pixels, row);
  }
}

template <class File, class In>
uint32_t put(const Place& place, const void* in, size_t pixels, uint8_t* packed) {
  const In* row = static_cast<const In*>(in);
  uint8_t* at = packed + place.channel * sizeof(File);
  In all = 0;
  for (size_t i = 0; i < pixels; ++i, at += place.unit * sizeof(File)) {
    all |= row[i];
    store(at, static_cast<File>(row[i]));
  }
  return sizeof(In) > 2 ? 0 : static_cast<uint32_t>(all);
}

uint32_t put_threes(const Place& place, const void* in, size_t pixels, uint8_t* packed) {
  const auto* row = static_cast<const uint32_t*>(in);
  uint8_t* at = packed + place.channel * 3;
  uint32_t all = 0;
  for (size_t i = 0; i < pixels; ++i, at += place.unit * 3) {
    all |= row[i];
    const uint32_t value = kIsLittle ? row[i] : row[i] << 8;
    std::memcpy(at, &value, 3);
  }
  return all;
}

template <class In>
uint32_t put_bits(const Place& place, const void* in, size_t pixels, uint8_t* packed) {
  const In* row = static_cast<const In*>(in);
  const auto bits = static_cast<size_t>(place.bits);
  const uint64_t mask = (uint64_t{1} << bits) - 1;
  size_t at = place.channel * bits;
  In all = 0;
  for (size_t i = 0; i < pixels; ++i, at += place.unit * bits) {
    all |= row[i];
    const uint64_t sample = (row[i] & mask) << (64 - bits - at % 8);
    uint8_t* window = packed + at / 8;
    store(window, load<uint64_t>(window) | first_bit_highest(sample));
  }
  return all;
}

}  // namespace

void take_samples(const Place& place, const uint8_t* packed, size_t pixels, bool as_indices, void* out) {
  switch (place.form) {
    case Form::byte:
      return as_indices ? take<uint8_t, uint16_t>(place, packed, pixels, out)
                        : take<uint8_t, uint8_t>(place, packed, pixels, out);
    case Form::two:
      return take<uint16_t, uint16_t>(place, packed, pixels, out);
    case Form::three:
      return take_threes(place, packed, pixels, out);
    case Form::four:
      return take<uint32_t, uint32_t>(place, packed, pixels, out);
    case Form::eight:
      return take<uint64_t, uint64_t>(place, packed, pixels, out);
    case Form::half:
      return take_halves(place, packed, pixels, out);
    case Form::bits:
      if (place.bits > 16) return take_bits<uint32_t>(place, packed, pixels, out);
      return place.bits > 8 || as_indices ? take_bits<uint16_t>(place, packed, pixels, out)
                                          : take_bits<uint8_t>(place, packed, pixels, out);
  }
}

uint32_t put_samples(const Place& place, const void* row, size_t pixels, bool as_indices, uint8_t* packed) {
  switch (place.form) {
    case Form::byte:
      return as_indices ? put<uint8_t, uint16_t>(place, row, pixels, packed)
                        : put<uint8_t, uint8_t>(place, row, pixels, packed);
    case Form::two:
    case Form::half:
      return put<uint16_t, uint16_t>(place, row, pixels, packed);
    case Form::three:
      return put_threes(place, row, pixels, packed);
    case Form::four:
      return put<uint32_t, uint32_t>(place, row, pixels, packed);
    case Form::eight:
      return put<uint64_t, uint64_t>(place, row, pixels, packed);
    case Form::bits:
      if (place.bits > 16) return put_bits<uint32_t>(place, row, pixels, packed);
      return place.bits > 8 || as_indices ? put_bits<uint16_t>(place, row, pixels, packed)
                                          : put_bits<uint8_t>(place, row, pixels, packed);
  }
  return 0;
}

template <class T>
void turn_around(T* row, size_t pixels, T largest) {
  for (size_t i = 0; i < pixels; ++i) row[i] = static_cast<T>(largest - row[i]);
}

template <class T>
void mirror(T* row, size_t pixels) {
  std::reverse(row, row + pixels);
}

template <class T>
void look_up(const uint16_t* indices, size_t pixels, const uint16_t* table, T* out) {
  for (size_t i = 0; i < pixels; ++i) out[i] = static_cast<T>(table[indices[i]]);
}

template void turn_around(uint8_t*, size_t, uint8_t);
template void turn_around(uint16_t*, size_t, uint16_t);
template void turn_around(uint32_t*, size_t, uint32_t);
template void mirror(uint8_t*, size_t);
template void mirror(uint16_t*, size_t);
template void mirror(uint32_t*, size_t);
template void mirror(uint64_t*, size_t);
template void look_up(const uint16_t*, size_t, const uint16_t*, uint8_t*);
template void look_up(const uint16_t*, size_t, const uint16_t*, uint16_t*);

}  // namespace orb::tiff
