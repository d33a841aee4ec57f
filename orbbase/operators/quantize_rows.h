// Turning real samples into integers. Pure functions over spans.
//
// A sample is multiplied by a factor, in its own precision, and cut toward zero to a 64-bit integer whose low
// bits are stored: there is no clamping. A product beyond 64 bits, and one that is no number, counts as 0.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orb::quantize {

// What a sample of 1.0 is multiplied by for a width of 0 to 32 bits; a file's width of less counts as 0.
[[nodiscard]] double factor(int32_t width);

// Bytes of an integer sample of a width.
[[nodiscard]] constexpr uint32_t integer_bytes(int32_t width) { return width <= 8 ? 1 : width <= 16 ? 2 : 4; }

// Converts count samples, at any addresses; in and out do not overlap.
using Converter = void (*)(const uint8_t* in, uint8_t* out, size_t count, double factor);

// For a type, ORB_C_FLOAT or ORB_C_DOUBLE, and a width of integers. Never null for these.
[[nodiscard]] Converter converter(uint32_t type, int32_t width);

}  // namespace orb::quantize
