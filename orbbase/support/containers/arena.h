// Memory that is taken in small pieces and released as a whole.
#pragma once

#include <cstdint>

namespace orb {

// Hands out pieces of large blocks. A piece starts at a multiple of 8 and lives as long as the arena.
class Arena {
 public:
  // The blocks hold size_bytes, rounded up to a multiple of 8, and the link to the block before. A size
  // below 8 gives blocks of 512 bytes. The first block is allocated with the first piece.
  explicit Arena(int32_t size_bytes);
  ~Arena() { release(); }
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  // size_bytes rounded up to a multiple of 8, not cleared. When the current block has no room, what is left
  // of it is abandoned for a new block, a larger one if the piece asks for it. 0 bytes gives the current free
  // address without advancing it. Null, with the allocator's report, when memory runs out; the arena stays
  // as it was.
  [[nodiscard]] void* take(uint64_t size_bytes);

  // A copy of the text inside the arena; null as take, and for a null text.
  [[nodiscard]] char* copy_text(const char* text);

  // Releases every block. The arena may be used again.
  void release();

  [[nodiscard]] uint64_t block_bytes() const { return block_bytes_; }

 private:
  // The first word of every block.
  struct Block {
    Block* previous;
  };
  [[nodiscard]] bool add_block(uint64_t piece_bytes);

  Block* block_ = nullptr;
  char* free_ = nullptr;
  uint64_t left_bytes_ = 0;
  uint64_t block_bytes_;
};

}  // namespace orb
