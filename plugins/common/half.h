// Half floats: 1 sign bit, 5 of the exponent, 10 of the fraction. Pure functions on bits, so that no NaN loses
// its payload on the way.
#pragma once

#include <bit>
#include <cstdint>

namespace orb::plugin {

// The bits of the float with the half float's value, which there always is.
inline uint32_t float_from_half(uint16_t half) {
  const uint32_t sign = (half & 0x8000U) << 16;
  const uint32_t exponent = (half >> 10) & 0x1FU;
  const uint32_t fraction = half & 0x3FFU;
  if (exponent == 31) return sign | 0x7F800000U | fraction << 13;
  if (exponent != 0) return sign | (exponent + 112) << 23 | fraction << 13;
  return sign | std::bit_cast<uint32_t>(static_cast<float>(fraction) * 0x1p-24F);
}

// The half float nearest to a float given by its bits; of two as near the one with the even fraction. What lies
// beyond 65504 and its half step is infinite; a NaN stays one, with the upper bits of its payload.
inline uint16_t half_from_float(uint32_t bits) {
  constexpr uint32_t kInfinity = 0x7F800000U;
  constexpr uint32_t kFirstInfinite = 0x477FF000U;  // 65520
  constexpr uint32_t kLeastNormal = 0x38800000U;    // 2^-14
  const uint32_t sign = bits >> 16 & 0x8000U;
  const uint32_t magnitude = bits & 0x7FFFFFFFU;
  if (magnitude > kInfinity) {
    const uint32_t payload = magnitude >> 13 & 0x3FFU;
    return static_cast<uint16_t>(sign | 0x7C00U | (payload != 0 ? payload : 1));
  }
  if (magnitude >= kFirstInfinite) return static_cast<uint16_t>(sign | 0x7C00U);
  if (magnitude < kLeastNormal) {
    // Added to 1/2, the float's own rounding leaves multiples of 2^-24 in the lowest bits.
    const float sum = std::bit_cast<float>(magnitude) + 0.5F;
    return static_cast<uint16_t>(sign | (std::bit_cast<uint32_t>(sum) - std::bit_cast<uint32_t>(0.5F)));
  }
  const uint32_t is_odd = magnitude >> 13 & 1U;
  return static_cast<uint16_t>(sign | (magnitude - (112U << 23) + 0xFFFU + is_odd) >> 13);
}

}  // namespace orb::plugin
