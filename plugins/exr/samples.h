// The loops over the samples of one row: between stored samples and channel rows. Pure functions; sizes are the
// caller's contract. No span may overlap another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orb::exr {

// Stored samples into a channel row. Halves become floats exactly; floats, halves and 32-bit integers become
// doubles exactly. Halves and floats are bits: no NaN loses its payload but on its way to a double.
// Rows of doubles may lie at any address.
void floats_from_halves(std::span<const uint16_t> halves, uint32_t* floats);
void doubles_from_halves(std::span<const uint16_t> halves, uint8_t* doubles);
void doubles_from_floats(std::span<const float> floats, uint8_t* doubles);
void doubles_from_integers(std::span<const uint32_t> integers, uint8_t* doubles);

// The reverse, to the nearest half. Returns how many finite samples became infinite.
uint64_t halves_from_floats(std::span<const uint32_t> floats, uint16_t* halves);

// The reverse of doubles, for values that came from there. False when one is no such value.
[[nodiscard]] bool floats_from_doubles(const uint8_t* doubles, size_t count, uint32_t* floats);
[[nodiscard]] bool integers_from_doubles(const uint8_t* doubles, size_t count, uint32_t* integers);

}  // namespace orb::exr
