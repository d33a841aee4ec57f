// The stream of an open file: which one a file name means, how it is opened and finished, and what is remarked
// about it.
#pragma once

#include <cstdint>
#include <cstdio>

#include "orbbase/core.h"

namespace orb::plugin {

// Plain data; starts zeroed.
struct Stream {
  std::FILE* file;
  const char* path;  // the handle's file name
  bool is_standard;  // the process's own: never closed
  bool is_created;   // this handle made the file
  int32_t notes;     // reported so far
  int32_t warnings;  // reported so far
};

// Opens the handle's file for reading: "/dev/stdin" is the process's own stream, another name is taken as it
// stands and, when no such file exists, with the extension added; the handle then carries the name that was
// opened. False, reported, with orb__err set: -5 when it cannot be opened, -10 out of memory.
[[nodiscard]] bool open_for_reading(ORB_IMAGE& image, const char* extension, Stream& stream);

// The same for writing: the extension is added first, unless open_option says that the name is complete.
// "/dev/stdout" is the process's own stream. What was there is overwritten.
[[nodiscard]] bool open_for_writing(ORB_IMAGE& image, const char* extension, Stream& stream);

// Flushes and closes a stream that was written to. 0, or the system's error number of the first step that
// failed.
[[nodiscard]] int finish_writing(Stream& stream);

// The same, with what failed reported. 0, or -20.
[[nodiscard]] int32_t finish_and_report(Stream& stream);

// Closes a stream whose close has nothing to say: one that was read, or of a writer that failed.
void release(Stream& stream);

// Removes the file if this handle created it.
void remove_created(const Stream& stream);

// Whether an open file is one whose bytes stay: not a pipe, a folder or a device.
bool is_regular(std::FILE* file);

// Whether the stream, or the file of that name when it is null, is a regular file whose first bytes are such
// as looks_right accepts. It is asked about count bytes, 1 to 16.
bool begins_right(const char* name, std::FILE* stream, size_t count, bool (*looks_right)(const uint8_t*));

// Remarks on what a file holds and the description cannot carry. A file with very many gets a last remark
// that says so.
void note(Stream& stream, const char* text);
void warn(Stream& stream, const char* text);

}  // namespace orb::plugin
