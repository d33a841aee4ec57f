// Averaging rows of samples in light: the loops of the generators of reduced pictures. Pure functions over rows.
//
// Between samples in and samples out there are rows of light: single precision for integers of up to 16 bits,
// otherwise double. Light of integers without a curve is the code itself. Samples may lie at any address.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "orbbase/operators/reduce_codes.h"

namespace orb::reduce {

// How the samples of a channel stand for light.
enum class Form { code, table, power };

struct Light {
  const CodeTable* codes;  // Form::table
  double exponent;         // Form::power: light = (sample / largest) to this power
  double largest;          // the largest code of an integer; 1 for real samples
};

// What a row of light takes a sample at most.
inline constexpr size_t kMostLightBytes = sizeof(double);

// Of `count` samples or lights there are half as many pairs, rounded up: the last one of an odd count is paired
// with itself.
inline size_t pair_count(size_t count) { return count / 2 + count % 2; }

// The functions for the channels of one kind.
struct RowFunctions {
  size_t sample_bytes;
  void (*lights)(const Light& light, const uint8_t* samples, size_t count, void* lights_out);
  // Sums of neighbours, pair_count(count) of them.
  void (*pair_samples)(const Light& light, const uint8_t* samples, size_t count, void* sums_out);
  void (*pair_lights)(const void* lights, size_t count, void* sums_out);
  // A quarter of the sums of two rows. lights_out may be either of them.
  void (*average)(const void* sums, const void* other_sums, size_t count, void* lights_out);
  // Reduces a row to `columns`, at most `count` of them: the light of the exact area of each, counting a light as
  // `columns` and a column as `count`.
  void (*areas)(const void* lights, size_t count, std::span<double> columns);
  // The sums times a factor, as light.
  void (*scale)(std::span<const double> sums, double factor, void* lights_out);
  void (*samples)(const Light& light, const void* lights, size_t count, uint8_t* samples_out);
};

// For samples of a type and width; tables are for integers of up to 16 bits, powers for all others.
[[nodiscard]] const RowFunctions& row_functions(uint32_t type, int32_t width, Form form);

// Sums of neighbours of bytes, as the vector instructions of every x86-64 make them. Returns how many of the samples
// that took, an even number; without such instructions 0.
size_t pair_bytes_sse2(const uint8_t* samples, size_t count, float* sums);

// sums += share * columns. Equal sizes.
void add_share(std::span<const double> columns, double share, std::span<double> sums);

}  // namespace orb::reduce
