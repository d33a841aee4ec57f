// What a region's components must be: the slow, obvious form.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include "orbbase/operators.h"

namespace orb::testing {

struct PixelForm {
  uint32_t layout;
  uint32_t components;
  uint32_t bits;
  [[nodiscard]] uint32_t bytes() const { return components * bits / 8; }
};

inline constexpr PixelForm kPixelForms[] = {
    {ORB_REGION_GREY16, 1, 16}, {ORB_REGION_RGBA16, 4, 16}, {ORB_REGION_RGBA8, 4, 8},
    {ORB_REGION_GREY8, 1, 8},   {ORB_REGION_RGB8, 3, 8},
};

// full / (2^width - 1), where the power is a signed 32-bit integer.
inline float expected_factor(int32_t width, uint32_t bits) {
  const int32_t exponent = ((width % 32) + 32) % 32;
  const double power = exponent == 31 ? -std::ldexp(1.0, 31) : std::ldexp(1.0, exponent);
  return static_cast<float>((bits == 16 ? 65535.0 : 255.0) / (power - 1));
}

inline uint32_t expected_component(uint32_t sample, float factor, uint32_t bits) {
  const float product = static_cast<float>(sample) * factor;
  const double whole = std::trunc(static_cast<double>(product));
  return std::isfinite(whole)
             ? static_cast<uint32_t>(std::fmod(whole, std::ldexp(1.0, static_cast<int>(bits))))
             : 0;
}

inline void store_component(uint8_t* pixel, uint32_t index, uint32_t value, uint32_t bits) {
  const auto wide = static_cast<uint16_t>(value);
  if (bits == 16) std::memcpy(pixel + index * 2, &wide, 2);
  if (bits == 8) pixel[index] = static_cast<uint8_t>(value);
}

}  // namespace orb::testing
