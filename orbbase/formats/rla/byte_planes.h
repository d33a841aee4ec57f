// Samples of 2 and 4 bytes from their byte planes, and back. The planes of a row follow each other, most
// significant first.
#pragma once

#include <cstdint>
#include <span>

namespace orb::rla {

// planes has at least sizeof(sample) * samples.size() bytes.
void join_planes(std::span<const uint8_t> planes, std::span<uint16_t> samples);
void join_planes(std::span<const uint8_t> planes, std::span<uint32_t> samples);
void split_planes(std::span<const uint16_t> samples, std::span<uint8_t> planes);
void split_planes(std::span<const uint32_t> samples, std::span<uint8_t> planes);

}  // namespace orb::rla
