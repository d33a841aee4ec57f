// Files that are read and written at any offset, so that they have to be something that can be positioned; a pipe
// cannot.
#pragma once

#include <cstdint>

#include "orbbase/core.h"
#include "plugins/common/stream.h"

namespace orb::plugin {

// A stream of which only the descriptor is used, so that nothing is buffered twice. Plain data; starts zeroed.
struct PositionedFile {
  Stream stream;
  int io_error;  // the system's number of the first transfer that failed
  bool is_cut;   // a read ended at the end of the file
};

// As open_for_reading and open_for_writing do. What cannot be positioned, or for writing takes all bytes at its end,
// is -5, reported.
[[nodiscard]] bool open_positioned_for_reading(ORB_IMAGE& image, const char* extension, PositionedFile& file);
[[nodiscard]] bool open_positioned_for_writing(ORB_IMAGE& image, const char* extension, PositionedFile& file);

// Bytes from an offset on, as many as there are; fewer with io_error or is_cut set. The second reads through another
// descriptor of the file.
uint64_t read_at(PositionedFile& file, uint64_t offset, void* out, uint64_t size_bytes);
uint64_t read_at(PositionedFile& file, int descriptor, uint64_t offset, void* out, uint64_t size_bytes);

// All of them, or false with io_error set.
[[nodiscard]] bool write_at(PositionedFile& file, uint64_t offset, const void* bytes, uint64_t size_bytes);

}  // namespace orb::plugin
