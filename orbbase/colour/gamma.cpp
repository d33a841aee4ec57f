// Gamma tables of fixed size between 8-bit values and the working range.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "orbbase/colour/rounding.h"
#include "orbbase/response.h"
#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

constexpr size_t kByteEntries = 256;
constexpr size_t kRangeEntries = ORB_GAMMA_STEPS;
constexpr double kLastByte = kByteEntries - 1;
constexpr double kLastStep = kRangeEntries - 1;
constexpr double kFloatByteScale = 254.9;  // not 255, on purpose

// A new table of entry(0), entry(1), ...
template <class T, class EntryOf>
T* make_table(size_t entries, EntryOf entry) {
  owned<T> table = make_zeroed<T>(entries);
  if (!table) {
    set_error(ORB_E_MEMORY);
    return nullptr;
  }
  for (size_t i = 0; i < entries; ++i) table.get()[i] = entry(i);
  return table.release();
}

double from_byte(size_t i, double gamma) { return std::pow(static_cast<double>(i) / kLastByte, gamma); }
double from_step(size_t i, double gamma) { return std::pow(static_cast<double>(i) / kLastStep, 1.0 / gamma); }

}  // namespace
}  // namespace orb

// Each entry is held to the straight line's side that it must not leave. fmax and fmin, since they take the
// line where a gamma gives no number.

float* ORB_gamma_btof(float gamma) {
  return orb::make_table<float>(orb::kByteEntries, [gamma](size_t i) {
    return static_cast<float>(std::fmax(orb::from_byte(i, gamma), static_cast<double>(i) / orb::kLastStep));
  });
}

uint16_t* ORB_gamma_btos(float gamma) {
  return orb::make_table<uint16_t>(orb::kByteEntries, [gamma](size_t i) {
    const auto entry =
        orb::rounded_entry<uint16_t>(orb::from_byte(i, gamma) * orb::kLastStep, orb::kLastStep);
    return std::max(entry, static_cast<uint16_t>(i));
  });
}

uint8_t* ORB_gamma_tob(float gamma) {
  return orb::make_table<uint8_t>(orb::kRangeEntries, [gamma](size_t i) {
    const auto entry = orb::rounded_entry<uint8_t>(orb::from_step(i, gamma) * orb::kLastByte, orb::kLastByte);
    return static_cast<uint8_t>(std::min<size_t>(entry, i));
  });
}

float* ORB_gamma_tof(float gamma) {
  return orb::make_table<float>(orb::kRangeEntries, [gamma](size_t i) {
    return static_cast<float>(
        std::fmin(orb::from_step(i, gamma) * orb::kFloatByteScale, static_cast<double>(i)));
  });
}

int32_t ORB_gamma_done(void* table) {
  ERR_free(table);
  return 1;
}
