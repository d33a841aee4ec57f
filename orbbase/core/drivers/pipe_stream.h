// The streams of the "pipe" driver: which file a name stands for, and moving bytes in and out of it without
// reading past what belongs to the image, and without a reader that went away ending the process.
#pragma once

#include <cstdint>
#include <cstdio>

#include "orbbase/core.h"
#include "orbbase/core/internal.h"

namespace orb {

struct PipeStream {
  std::FILE* file;
  bool is_standard;  // the process's own standard input or output: never closed
  bool is_new;       // the open for writing made the file
};

// The path that the description's file name stands for. Null when memory runs out, reported.
//
// A name is taken as given when open_option is set, when it begins with "/dev/", when it ends with the
// format's extension, or when it is there and is neither a regular file nor a directory (a FIFO, a socket, a
// device). Any other name gets the extension; for reading it is nevertheless taken as given when there is no
// such file but one of the very name.
[[nodiscard]] owned<char> pipe_path(const ORB_INFO& info, Direction direction);

// Opens a path, unbuffered. Returns 0 or the system's error number.
[[nodiscard]] int open_stream(const char* path, Direction direction, PipeStream& stream_out);

// Closes it unless it is a standard stream. Returns 0 or the system's error number.
int close_stream(PipeStream& stream);

// Makes the path the file name of the handle's description, so that whoever opens that name again exactly as
// it is given meets the same stream.
void adopt_path(ORB_INFO& info, owned<char> path);

// Takes bytes from a stream in large pieces, but never more in all than were allowed.
struct StreamReader {
  PipeStream stream;
  uint64_t allowed;  // bytes that may still be taken from the stream
  uint8_t* buffer;   // null before the first use
  uint32_t begin;    // the buffer's unread bytes
  uint32_t end;

  void allow(uint64_t bytes) { allowed += bytes; }
  // Fills out with bytes of those allowed. Returns null, or why that failed; *taken_out, when given, then
  // says how many there were.
  [[nodiscard]] const char* take(void* out, size_t bytes, size_t* taken_out = nullptr);
};

// Collects bytes and writes them in large pieces.
struct StreamWriter {
  PipeStream stream;
  uint8_t* buffer;
  uint32_t filled;

  // Both return 0 or the system's error number.
  [[nodiscard]] int put(const void* bytes, size_t count);
  [[nodiscard]] int flush();
};

// The buffer of a StreamReader or StreamWriter; null when memory runs out, reported.
[[nodiscard]] uint8_t* allocate_stream_buffer();

extern const char* const kCutShort;

}  // namespace orb
