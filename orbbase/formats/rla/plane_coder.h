// Run-length coding of integer samples, plane by plane: the hot loops of the RLA driver. They know no file and
// no report, and allocate nothing.
//
// A plane is one byte of each sample of a row; the planes of wider samples are coded one after the other, most
// significant first. A coded plane is a sequence of tokens: a count byte k from 0 to 127 is a run, the next byte
// k + 1 times; k from -1 to -128 is a literal, the next -k bytes as they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orb::rla {

// Bytes that must be readable after the coded bytes; what is in them does not matter.
inline constexpr size_t kCodedSlack = 192;
// Bytes that must be writable after a decoded row; they may be overwritten.
inline constexpr size_t kPlaneSlack = 128;
// The result of decoding data that is no row of the wanted length.
inline constexpr size_t kCannotDecode = SIZE_MAX;

// Room for the planes that the coders of samples of 2 and 4 bytes put between; the same to decode and encode.
constexpr size_t scratch_bytes(size_t samples, size_t sample_bytes) {
  return sample_bytes * samples + kPlaneSlack;
}

// Room for a coded row: the worst case and what may be overwritten after it.
constexpr size_t coded_bytes(size_t samples, size_t sample_bytes) {
  return sample_bytes * (samples + (samples + 127) / 128) + kPlaneSlack;
}

// Decodes a row of exactly plane.size() samples from the start of `coded`, which may be longer; kCodedSlack and
// kPlaneSlack bytes follow the two. Returns the coded bytes used, or kCannotDecode when they end before the row
// is full, or a token goes past the row or past the coded bytes; the row's samples are then undefined.
// Any bytes are safe to decode.
[[nodiscard]] size_t decode_plane(std::span<const uint8_t> coded, std::span<uint8_t> plane);

// The rows of channels of one byte a sample, coded and to be decoded.
struct CodedPlane {
  std::span<const uint8_t> coded;
  std::span<uint8_t> samples;
};
inline constexpr size_t kAbreast = 3;

// Decodes such rows together, which is faster than one after the other. kCodedSlack and kPlaneSlack bytes follow
// each; what may be overwritten after a row is in none of the others. Returns whether each is a row of exactly its
// coded bytes; otherwise the samples of all are undefined. Any bytes are safe to decode.
[[nodiscard]] bool decode_abreast(const CodedPlane (&planes)[kAbreast]);

// As decode_plane, for samples of 2 and 4 bytes in the machine's byte order. `scratch` has at least
// scratch_bytes(samples.size(), 2 or 4) bytes; nothing is written after the samples.
[[nodiscard]] size_t decode_planes(std::span<const uint8_t> coded, std::span<uint16_t> samples,
                                   std::span<uint8_t> scratch);
[[nodiscard]] size_t decode_planes(std::span<const uint8_t> coded, std::span<uint32_t> samples,
                                   std::span<uint8_t> scratch);

// Encodes a row; nothing is read after it. Three or more equal samples are a run, all others literals; a run or
// literal of more than 128 samples is cut after every 128. `coded` has at least coded_bytes(plane.size(), 1)
// bytes. Returns the bytes that the coded row has; some after them may be overwritten.
[[nodiscard]] size_t encode_plane(std::span<const uint8_t> plane, std::span<uint8_t> coded);

// The same for samples of 2 and 4 bytes, in the machine's byte order, with coded_bytes(samples.size(), 2 or 4)
// and scratch_bytes(samples.size(), 2 or 4) bytes.
[[nodiscard]] size_t encode_planes(std::span<const uint16_t> samples, std::span<uint8_t> coded,
                                   std::span<uint8_t> scratch);
[[nodiscard]] size_t encode_planes(std::span<const uint32_t> samples, std::span<uint8_t> coded,
                                   std::span<uint8_t> scratch);

}  // namespace orb::rla
