// Which stream a file name means, and how it is opened and finished.
#pragma once

#include <cstdint>
#include <cstdio>

#include "codec.h"
#include "orbbase/core.h"

namespace orb::png {

// Opens the handle's file for reading: "/dev/stdin" is the process's own stream, another name is taken as it
// stands and, when no such file exists, with the extension added; the handle then carries the name that was
// opened. False, reported, with orb__err set: -5 when it cannot be opened, -10 out of memory.
[[nodiscard]] bool open_for_reading(ORB_IMAGE& image, Codec& codec);

// The same for writing: the extension is added first, unless open_option says that the name is complete.
// "/dev/stdout" is the process's own stream. What was there is overwritten.
[[nodiscard]] bool open_for_writing(ORB_IMAGE& image, Codec& codec);

// Checks the first bytes of codec.stream. False, reported: -8 when they are not a PNG's, -18 when they cannot
// be read.
[[nodiscard]] bool read_signature(Codec& codec);

// Flushes and closes a stream that was written to. 0, or the system's error number of the first step that
// failed.
[[nodiscard]] int finish_writing(Codec& codec);

// Removes the file if this handle created it.
void remove_created(const Codec& codec);

// Whether the stream, or the file of that name when it is null, is a regular file that begins like a PNG.
bool is_png(const char* name, std::FILE* stream);

}  // namespace orb::png
