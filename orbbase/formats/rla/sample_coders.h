// One channel of one row between its samples and its block in the file, by type and width.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/core.h"

namespace orb::rla {

// The most bytes of a block: its count has 16 bits.
inline constexpr uint64_t kMostBlockBytes = 65535;

struct SampleCoder {
  uint32_t sample_bytes;
  bool is_coded;  // run-length encoded; else the samples' own bytes

  // Decodes a block into count aligned samples. False when the block is not such a row. Slack behind both, and
  // scratch, as plane_coder.h has it.
  bool (*decode)(std::span<const uint8_t> block, uint8_t* samples, size_t count, std::span<uint8_t> scratch);

  // Encodes count samples, at any address, into a block with room for block_room bytes. Returns the block's bytes.
  size_t (*encode)(const uint8_t* samples, size_t count, std::span<uint8_t> block,
                   std::span<uint8_t> scratch);

  // Room for any block of count samples, with its slack.
  [[nodiscard]] uint64_t block_room(uint64_t count) const;
  // The smallest block of count samples.
  [[nodiscard]] uint64_t least_block_bytes(uint64_t count) const;
  // Scratch memory for rows of count samples, for both directions.
  [[nodiscard]] uint64_t scratch_bytes(uint64_t count) const;
};

// The coder of a group; null for an unknown type or an integer width above 32 bits.
[[nodiscard]] const SampleCoder* sample_coder(const ORB_CHANNELS& group);

// The longest block that a reader takes, for rows of so many samples, by the widest of the three groups.
[[nodiscard]] uint64_t most_block_bytes(const ORB_IFD& ifd, uint64_t window_width);

}  // namespace orb::rla
