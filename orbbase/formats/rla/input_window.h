// The piece of a file that is in memory. Blocks are decoded where they lie in it; it moves on, or jumps, with what
// is asked for.
#pragma once

#include <cstdint>
#include <cstdio>

#include "orbbase/formats/rla/plane_coder.h"

namespace orb::rla {

class InputWindow {
 public:
  static constexpr uint64_t kBytes = 262144;
  static constexpr int kNoMemory = -1;

  // Takes the stream, which is unbuffered and at position 0. False when memory runs out, reported by the
  // allocator.
  [[nodiscard]] bool start(std::FILE* stream);
  // Releases the memory and leaves the stream.
  void finish();

  // The bytes from a position of the file on, in memory until the next take, with kCodedSlack readable bytes
  // behind them. count is at most kBytes / 2. Null when they cannot be had; error() says why.
  [[nodiscard]] const uint8_t* take(uint64_t position, uint64_t count) {
    const uint8_t* const bytes = held(position, count);
    return bytes ? bytes : fetch(position, count);
  }

  // The same of what is in memory already; null when it is not.
  [[nodiscard]] const uint8_t* held(uint64_t position, uint64_t count) const {
    const uint64_t skipped = position - first_;
    const bool is_held = position >= first_ && skipped <= held_bytes_ && count <= held_bytes_ - skipped;
    return is_held ? held_ + skipped : nullptr;
  }

  // Reads the bytes from a position of the file on into other memory. False when they cannot be had; what the window
  // held is then gone, and the memory undefined.
  [[nodiscard]] bool read_past(uint64_t position, uint8_t* out, uint64_t bytes);

  // Why the last take failed: the system's error number, 0 when the file ends before, or kNoMemory, which the
  // allocator has reported.
  [[nodiscard]] int error() const { return error_; }

  // The size of the file; UINT64_MAX when it has none, a FIFO for example.
  [[nodiscard]] uint64_t file_bytes();

 private:
  [[nodiscard]] const uint8_t* fetch(uint64_t position, uint64_t count);
  bool grow();
  void keep_tail(uint64_t position);
  bool jump(uint64_t position, uint64_t count);
  bool fill(uint64_t needed_bytes, uint64_t wanted_bytes);
  bool seek(uint64_t position);
  void forget();

  std::FILE* stream_;
  uint8_t* block_;           // what was allocated
  uint8_t* base_;            // its first aligned byte; capacity_bytes_ and kCodedSlack follow
  uint64_t capacity_bytes_;  // little until rows are read in a row
  const uint8_t* held_;      // the bytes in memory
  uint64_t held_bytes_;
  uint64_t first_;            // their position in the file
  uint64_t stream_position_;  // where the stream stands, if that is known
  bool is_position_known_;
  uint64_t file_bytes_;  // 0: not asked yet
  int error_;
};

}  // namespace orb::rla
