// Which file a name stands for, and opening it.
#pragma once

#include <cstdio>

#include "orbbase/core.h"

namespace orb::rla {

// Opens the file of the handle's description for reading, unbuffered; its name becomes the path that was opened.
// Null with the code in orb__err, reported.
[[nodiscard]] std::FILE* open_to_read(ORB_INFO& info);

struct OutputStream {
  std::FILE* file;
  bool is_standard;  // the process's standard output: never closed, and never positioned
  bool is_created;   // the open made the file, a regular one
};

// The path that the description's name stands for when written becomes its name. False when memory ran out,
// reported.
[[nodiscard]] bool settle_output_path(ORB_INFO& info);

// Opens the description's name as it stands, unbuffered. False with orb__err -5, reported.
[[nodiscard]] bool open_to_write(const char* path, OutputStream& stream_out);

// Reports "Cannot open file %s; %s" and sets -5. The false is for callers to return.
bool cannot_open(const char* path, int error);

}  // namespace orb::rla
