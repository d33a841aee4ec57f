#include "samples.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "plugins/common/half.h"

namespace orb::exr {
namespace {

void store(double value, uint8_t* doubles, size_t at) {
  std::memcpy(doubles + at * sizeof value, &value, sizeof value);
}

double load(const uint8_t* doubles, size_t at) {
  double value = 0;
  std::memcpy(&value, doubles + at * sizeof value, sizeof value);
  return value;
}

}  // namespace

void floats_from_halves(std::span<const uint16_t> halves, uint32_t* floats) {
  for (size_t i = 0; i < halves.size(); ++i) floats[i] = plugin::float_from_half(halves[i]);
}

void doubles_from_halves(std::span<const uint16_t> halves, uint8_t* doubles) {
  for (size_t i = 0; i < halves.size(); ++i) {
    store(static_cast<double>(std::bit_cast<float>(plugin::float_from_half(halves[i]))), doubles, i);
  }
}

void doubles_from_floats(std::span<const float> floats, uint8_t* doubles) {
  for (size_t i = 0; i < floats.size(); ++i) store(static_cast<double>(floats[i]), doubles, i);
}

void doubles_from_integers(std::span<const uint32_t> integers, uint8_t* doubles) {
  for (size_t i = 0; i < integers.size(); ++i) store(static_cast<double>(integers[i]), doubles, i);
}

uint64_t halves_from_floats(std::span<const uint32_t> floats, uint16_t* halves) {
  uint64_t overflows = 0;
  for (size_t i = 0; i < floats.size(); ++i) {
    halves[i] = plugin::half_from_float(floats[i]);
    const uint32_t magnitude = floats[i] & 0x7FFFFFFFU;
    overflows += (halves[i] & 0x7FFFU) == 0x7C00U && magnitude < 0x7F800000U ? 1 : 0;
  }
  return overflows;
}

bool floats_from_doubles(const uint8_t* doubles, size_t count, uint32_t* floats) {
  bool is_exact = true;
  for (size_t i = 0; i < count; ++i) {
    const double given = load(doubles, i);
    const bool is_large = std::fabs(given) > 0x1.fffffep127 && std::isfinite(given);
    const float value = is_large ? 0.0F : static_cast<float>(given);
    floats[i] = std::bit_cast<uint32_t>(value);
    is_exact = is_exact && (std::isnan(given) || static_cast<double>(value) == given);
  }
  return is_exact;
}

bool integers_from_doubles(const uint8_t* doubles, size_t count, uint32_t* integers) {
  bool is_exact = true;
  for (size_t i = 0; i < count; ++i) {
    const double given = load(doubles, i);
    const bool is_inside = given >= 0 && given <= 4294967295.0;
    integers[i] = is_inside ? static_cast<uint32_t>(given) : 0;
    is_exact = is_exact && is_inside && static_cast<double>(integers[i]) == given;
  }
  return is_exact;
}

}  // namespace orb::exr
