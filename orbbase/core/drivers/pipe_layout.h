// The layout of a pipe stream's header: one table that the writer and the reader walk. docs/pipe-stream.md
// says the same in words.
//
// - prologue: magic word, version, number of header bytes
// - header: words and texts of the file and of its image, the tables of its response curve, its lookup table
// - rows: the packed active samples of the active lines, in file order
// - end mark
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "orbbase/core.h"

namespace orb {

inline constexpr uint8_t kPipeMagic[8] = {'O', 'R', 'B', 'p', 'i', 'p', 'e', 0x1a};
inline constexpr uint8_t kPipeEndMark[8] = {'O', 'R', 'B', 'p', 'e', 'n', 'd', 0x1a};
inline constexpr uint32_t kPipeVersion = 1;
inline constexpr size_t kPipePrologueBytes = sizeof(kPipeMagic) + 4 + 4;

struct PipePrologue {
  bool is_pipe;  // the magic word is there; otherwise the rest says nothing
  uint32_t version;
  uint32_t header_bytes;
};
[[nodiscard]] PipePrologue read_prologue(std::span<const uint8_t, kPipePrologueBytes> bytes);

// The prologue and header of a description with one image, in one block of the allocator's. Null when memory
// runs out, reported.
//
// lut             or null
// block_bytes_out its size
[[nodiscard]] uint8_t* encode_header(const ORB_INFO& info, const ORB_LUT* lut, uint32_t* block_bytes_out);

// The bytes that encode_header would make, in 64 bits: to be checked against the limit and 32 bits first.
[[nodiscard]] uint64_t encoded_header_bytes(const ORB_INFO& info, const ORB_LUT* lut);

// Takes a header apart.
//
// header   what follows the prologue
// info     its texts, words and first image (there must be one, with its defaults) receive what the stream
//          says; what has been stored by the time of a failure stays there, owned by info
// lut_out  receives the lookup table, or null
//
// Returns null, or what is wrong with the header, for the report. With no memory (reported) kNoRoom.
[[nodiscard]] const char* decode_header(std::span<const uint8_t> header, ORB_INFO& info, ORB_LUT** lut_out);
extern const char* const kNoRoom;

// Whether the numbers of a tabulated curve describe tables that can be kept.
[[nodiscard]] bool table_curve_is_sound(const ORB_RESPONSE_CURVE& curve);

}  // namespace orb
