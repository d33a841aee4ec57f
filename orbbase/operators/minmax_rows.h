// Remapping bytes along a straight line. Pure functions over spans.
#pragma once

#include <cstdint>
#include <span>

namespace orb::minmax {

// A sample s becomes the low 8 bits of s * scale, cut toward zero in single precision, plus offset; a product
// beyond 64 bits, or none, counts as 0. `table` holds that for every s. The vector form computes
// s * whole + (s * fraction >> 16), negated or not, in 16 bits, which is the same where is_linear says so.
struct Ramp {
  uint8_t table[256];
  uint16_t whole;
  uint16_t fraction;
  bool is_negative;
  bool is_linear;
  uint8_t offset;
};

[[nodiscard]] Ramp make_ramp(float scale, int32_t offset);

// Remaps samples in place.
void apply(const Ramp& ramp, std::span<uint8_t> samples);

}  // namespace orb::minmax
