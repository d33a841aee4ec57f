// Looking samples up in a table. Pure functions over spans.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orb::gamma {

using ByteTable = std::span<const uint8_t, 256>;

// Replaces each sample by its entry.
using LookUp = void (*)(ByteTable table, std::span<uint8_t> samples);
void look_up(ByteTable table, std::span<uint8_t> samples);

// The same for processors with AVX-512 byte permutes; null where it was not built.
LookUp look_up_by_permute();

// The fastest of them on this processor.
LookUp choose_look_up();

// Writes the entries of `count` 16-bit samples as bytes; a sample beyond the last entry counts as that one's.
// `out` may be where the samples are, or begin before them: they give way as they are read.
void look_up_narrowing(std::span<const uint8_t> table, const uint8_t* samples, size_t count, uint8_t* out);

// Real samples in place, of ORB_C_FLOAT or ORB_C_DOUBLE, at any address. A response curve says nothing of what is
// below 0, nor of what is no number: such samples stay.
struct RealSamples {
  uint8_t* first;
  size_t count;
  uint32_t type;
};

// Raises samples to a power.
void raise(float exponent, const RealSamples& samples);

// Samples from 0 to 1 become entries over 255, straight between two of them; what is above 1 counts as 1.
void interpolate(std::span<const uint8_t> table, const RealSamples& samples);

}  // namespace orb::gamma
