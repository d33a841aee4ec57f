// The file under an OpenEXR image: bytes at offsets of it. It is read and written at any offset, so it has to be
// something that can be positioned; a pipe cannot.
#pragma once

#include <cstdint>
#include <cstdio>

#include "orbbase/core.h"
#include "plugins/common/stream.h"

namespace orb::exr {

struct File {
  plugin::Stream stream;  // only its descriptor is used: nothing is buffered twice
  int io_error;           // the system's number of the first transfer that failed
  bool is_cut;            // a read ended at the end of the file
};

// Opens the handle's file; names are as plugins/common/stream.h says. False, reported, with orb__err set.
[[nodiscard]] bool open_for_reading(ORB_IMAGE& image, File& file);
[[nodiscard]] bool open_for_writing(ORB_IMAGE& image, File& file);

// Bytes from an offset on, as many as there are; fewer with io_error or is_cut set.
uint64_t read_at(File& file, uint64_t offset, void* out, uint64_t size_bytes);

// All of them, or false with io_error set.
[[nodiscard]] bool write_at(File& file, uint64_t offset, const void* bytes, uint64_t size_bytes);

// Where the file ends; -1 when that is not known.
int64_t end_of(const File& file);

// Checks the first bytes. False, reported: -8 when they are not the format's, -18 when they cannot be read.
[[nodiscard]] bool check_signature(File& file);

// Whether the stream, or the file of that name when it is null, is a regular file that begins like the format.
bool is_exr(const char* name, std::FILE* stream);

}  // namespace orb::exr
