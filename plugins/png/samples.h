// The loops over the samples of one row. Pure functions; sizes are the caller's contract.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orb::png {

// out[i] = table[in[i]].
void map_row(std::span<const uint8_t> in, std::span<const uint8_t, 256> table, uint8_t* out);

// Palette indices between the codec's bytes and 2-byte samples. Both return the largest index met.
uint32_t indices_from_bytes(std::span<const uint8_t> in, uint16_t* out);
uint32_t indices_to_bytes(std::span<const uint16_t> in, uint8_t* out);

template <class T>
uint32_t largest_sample(std::span<const T> row);

// Scales samples of width bits to depth bits (8 or 16, wider than width) by repeating their bits; out may be
// the row itself. Samples fit their width.
template <class T>
void repeat_bits(std::span<const T> row, int width, int depth, T* out);

// The reverse, in place. False when a sample is not its own bits repeated, so that something of it is lost.
template <class T>
[[nodiscard]] bool take_repeated_bits(std::span<T> row, int width, int depth);

// out[i] = 0 where every channel has the key's value, elsewhere opaque.
template <class T>
void matte_from_key(const T* const* planes, int channels, const uint16_t* key, size_t pixels, T opaque,
                    T* out);

}  // namespace orb::png
