// Collects what is written and hands it to the system in large pieces that end on round positions of the file.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/formats/rla/paths.h"

namespace orb::rla {

class OutputBuffer {
 public:
  // Makes room for pieces, and for the most bytes that are put behind one at once. False when memory runs out,
  // reported by the allocator.
  [[nodiscard]] bool start(uint64_t most_put_bytes);
  void attach(const OutputStream& stream) { stream_ = stream; }
  // Releases the memory and closes the stream, unless it is standard output. 0 or the system's error number.
  int finish();

  // The position in the file of what is put next, counted from the open.
  [[nodiscard]] uint64_t position() const { return written_bytes_ + filled_bytes_; }
  // Where the next bytes are to be written: room for most_put_bytes.
  [[nodiscard]] uint8_t* room() { return block_ + filled_bytes_; }

  // These return 0 or the system's error number. After a failure nothing more is written behind.
  // Adds what was written into the room.
  [[nodiscard]] int put_room(uint64_t bytes);
  // Adds any number of bytes.
  [[nodiscard]] int put(std::span<const uint8_t> bytes);
  [[nodiscard]] int flush();
  // Replaces bytes at an earlier position, when all is flushed or lost.
  [[nodiscard]] int replace(uint64_t position, std::span<const uint8_t> bytes);

  [[nodiscard]] const OutputStream& stream() const { return stream_; }
  [[nodiscard]] bool has_failed() const { return error_ != 0; }

 private:
  [[nodiscard]] int write(const uint8_t* bytes, uint64_t count);
  [[nodiscard]] uint64_t piece_bytes() const;

  OutputStream stream_;
  uint8_t* block_;
  uint64_t filled_bytes_;
  uint64_t written_bytes_;
  int error_;
};

}  // namespace orb::rla
