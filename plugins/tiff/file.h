// The file under a TIFF: bytes at offsets of it.
#pragma once

#include <cstdint>
#include <cstdio>

#include "orbbase/core.h"
#include "plugins/common/positioned.h"

namespace orb::tiff {

struct File : plugin::PositionedFile {
  int read_back;  // written: a second descriptor for what is there already; 0: none yet
  uint64_t position;
  uint64_t size_bytes;  // written: up to where so far
};

// Opens the handle's file; names are as plugins/common/stream.h says. False, reported, with orb__err set.
[[nodiscard]] bool open_for_reading(ORB_IMAGE& image, File& file);
[[nodiscard]] bool open_for_writing(ORB_IMAGE& image, File& file);

// Bytes from an offset on, as many as there are; fewer with io_error or is_cut set.
uint64_t read_some(File& file, uint64_t offset, void* out, uint64_t size_bytes);

// All of them, or false.
[[nodiscard]] bool read_at(File& file, uint64_t offset, void* out, uint64_t size_bytes);
[[nodiscard]] bool write_at(File& file, uint64_t offset, const void* bytes, uint64_t size_bytes);

// Where the file ends.
uint64_t end_of(const File& file);

// Closes it, unless it is the process's own. 0, or the system's error number.
int close_file(File& file);

// Checks the first bytes. False, reported: -8 when they are not a TIFF's, -18 when they cannot be read.
[[nodiscard]] bool check_signature(File& file);

// Whether the stream, or the file of that name when it is null, is a regular file that begins like a TIFF.
bool is_tiff(const char* name, std::FILE* stream);

}  // namespace orb::tiff
