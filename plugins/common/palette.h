// Palettes: whether a reader is to give out colours or indices, and the lookup table that an application lends a
// writer of indices.
#pragma once

#include <cstdint>

#include "orbbase/core.h"

namespace orb::plugin {

// The values of the setting "palette".
enum class Palette : int32_t { colours = 0, indices = 1 };

// The table that the application lends for its indices: with at least one entry and at most most_entries. Null
// otherwise: reported, orb__err -16.
[[nodiscard]] const ORB_LUT* lent_table(const ORB_INFO& info, int32_t most_entries);

// The value of a table for one of 8 bits, and back. The latter is exact for what came from 8 bits.
constexpr uint16_t widened(uint8_t value) { return static_cast<uint16_t>(value * 257); }
constexpr bool is_widened(uint16_t value) { return value % 257 == 0; }
constexpr uint8_t narrowed(uint16_t value) { return static_cast<uint8_t>(value / 257); }

}  // namespace orb::plugin
