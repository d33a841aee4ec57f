#include "numbers.h"

#include <cmath>

namespace orb::png {
namespace {

constexpr double kScale = 100000.0;
// What the codec library accepts as gAMA.
constexpr double kLeastGamma = 16;
constexpr double kMostGamma = 625000000;
constexpr uint32_t kMostSimple = 4096;  // denominators tried before exact binary fractions

}  // namespace

std::optional<int32_t> stored_gamma(float gamma) {
  if (!std::isfinite(gamma) || gamma <= 0) return std::nullopt;
  const double stored = std::round(kScale / static_cast<double>(gamma));
  if (stored < kLeastGamma || stored > kMostGamma) return std::nullopt;
  return static_cast<int32_t>(stored);
}

float gamma_from_stored(int32_t stored) {
  const double exact = kScale / stored;
  for (double scale = 10; scale < 1e8; scale *= 10) {
    const float candidate = static_cast<float>(std::round(exact * scale) / scale);
    if (stored_gamma(candidate) == stored) return candidate;
  }
  return static_cast<float>(exact);
}

std::optional<int32_t> stored_chromaticity(float coordinate) {
  if (!(coordinate >= 0 && coordinate <= 1)) return std::nullopt;
  return static_cast<int32_t>(std::lround(static_cast<double>(coordinate) * kScale));
}

float chromaticity_from_stored(int32_t stored) { return static_cast<float>(stored / kScale); }

std::optional<PixelsPerUnit> stored_aspect(float pixel_aspect) {
  if (!(pixel_aspect >= 0x1p-6F && pixel_aspect < 0x1p24F)) return std::nullopt;
  const double aspect = static_cast<double>(pixel_aspect);
  for (uint32_t x = 1; x <= kMostSimple; ++x) {
    const double y = std::round(aspect * x);
    if (y >= 1 && y <= INT32_MAX && static_cast<float>(y / x) == pixel_aspect)
      return PixelsPerUnit{x, static_cast<uint32_t>(y)};
  }
  // A float has 24 significant bits, so y and a power of two for x hold every ratio of the range exactly.
  int exponent = 0;
  const double fraction = std::frexp(aspect, &exponent);
  return PixelsPerUnit{1U << (24 - exponent), static_cast<uint32_t>(std::ldexp(fraction, 24))};
}

}  // namespace orb::png
