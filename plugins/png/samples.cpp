#include "samples.h"

#include <algorithm>

namespace orb::png {
namespace {

// A sample's bits repeated as often as depth needs, and cut to it, are (sample * factor) >> shift.
struct Repetition {
  uint32_t factor = 0;
  int shift = 0;
};
Repetition repetition(int width, int depth) {
  Repetition result;
  int bits = 0;
  for (; bits < depth; bits += width) result.factor |= 1U << bits;
  result.shift = bits - depth;
  return result;
}

}  // namespace

void map_row(std::span<const uint8_t> in, std::span<const uint8_t, 256> table, uint8_t* out) {
  for (size_t i = 0; i < in.size(); ++i) out[i] = table[in[i]];
}

uint32_t indices_from_bytes(std::span<const uint8_t> in, uint16_t* out) {
  uint8_t largest = 0;
  for (size_t i = 0; i < in.size(); ++i) {
    out[i] = in[i];
    largest = std::max(largest, in[i]);
  }
  return largest;
}

uint32_t indices_to_bytes(std::span<const uint16_t> in, uint8_t* out) {
  uint16_t largest = 0;
  for (size_t i = 0; i < in.size(); ++i) {
    out[i] = static_cast<uint8_t>(in[i]);
    largest = std::max(largest, in[i]);
  }
  return largest;
}

template <class T>
uint32_t largest_sample(std::span<const T> row) {
  T largest = 0;
  for (const T sample : row) largest = std::max(largest, sample);
  return largest;
}

template <class T>
void repeat_bits(std::span<const T> row, int width, int depth, T* out) {
  const Repetition repeat = repetition(width, depth);
  for (size_t i = 0; i < row.size(); ++i) out[i] = static_cast<T>((row[i] * repeat.factor) >> repeat.shift);
}

template <class T>
bool take_repeated_bits(std::span<T> row, int width, int depth) {
  const Repetition repeat = repetition(width, depth);
  uint32_t differences = 0;
  for (T& sample : row) {
    const uint32_t kept = static_cast<uint32_t>(sample) >> (depth - width);
    differences |= ((kept * repeat.factor) >> repeat.shift) ^ sample;
    sample = static_cast<T>(kept);
  }
  return differences == 0;
}

template <class T>
void matte_from_key(const T* const* planes, int channels, const uint16_t* key, size_t pixels, T opaque,
                    T* out) {
  std::fill_n(out, pixels, T{0});
  for (int c = 0; c < channels; ++c) {
    const T* plane = planes[c];
    for (size_t i = 0; i < pixels; ++i) out[i] = plane[i] == key[c] ? out[i] : opaque;
  }
}

template uint32_t largest_sample(std::span<const uint8_t>);
template uint32_t largest_sample(std::span<const uint16_t>);
template void repeat_bits(std::span<const uint8_t>, int, int, uint8_t*);
template void repeat_bits(std::span<const uint16_t>, int, int, uint16_t*);
template bool take_repeated_bits(std::span<uint8_t>, int, int);
template bool take_repeated_bits(std::span<uint16_t>, int, int);
template void matte_from_key(const uint8_t* const*, int, const uint16_t*, size_t, uint8_t, uint8_t*);
template void matte_from_key(const uint16_t* const*, int, const uint16_t*, size_t, uint16_t, uint16_t*);

}  // namespace orb::png
