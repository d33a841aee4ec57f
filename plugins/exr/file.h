// The file under an OpenEXR image: bytes at offsets of it.
#pragma once

#include <cstdint>
#include <cstdio>

#include "orbbase/core.h"
#include "plugins/common/positioned.h"

namespace orb::exr {

using File = plugin::PositionedFile;

// Opens the handle's file; names are as plugins/common/stream.h says. False, reported, with orb__err set.
[[nodiscard]] bool open_for_reading(ORB_IMAGE& image, File& file);
[[nodiscard]] bool open_for_writing(ORB_IMAGE& image, File& file);

using plugin::read_at;
using plugin::write_at;

// Where the file ends; -1 when that is not known.
int64_t end_of(const File& file);

// Checks the first bytes. False, reported: -8 when they are not the format's, -18 when they cannot be read.
[[nodiscard]] bool check_signature(File& file);

// Whether the stream, or the file of that name when it is null, is a regular file that begins like the format.
bool is_exr(const char* name, std::FILE* stream);

}  // namespace orb::exr
