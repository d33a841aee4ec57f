// Reading: the open call, and what an open file keeps between the calls.
#pragma once

#include <cstdint>

#include "header.h"
#include "kinds.h"
#include "orbbase/core.h"
#include "plugins/common/stream.h"

namespace orb::pnm {

// The file of a handle, with its pictures. ERR_malloc's.
struct File {
  plugin::Stream stream;
  bool is_seekable;  // a regular file
  int64_t end;       // of a seekable file
  int64_t position;  // where the next byte is read from; kept for seekable files
  uint8_t* packed;   // one row as the file holds it, large enough for each picture
  int32_t failure;   // of a file that is read in sequence: the code that ended it
};

// One picture of the file: what its slot of the handle's driver block points to.
struct Picture {
  File* file;
  Header header;
  int64_t data_at;     // place of the first row in a seekable file
  int64_t next_index;  // of a file that is read in sequence: the row, in the file's order, that comes next
  void** rows;         // given out; ORB_chan_free

  // Rows of one size in a regular file: any of them is at hand.
  [[nodiscard]] bool gives_any_row() const { return file->is_seekable && !header.is_plain; }
  // The only channel's samples stand in the file as in its row.
  [[nodiscard]] bool reads_into_row() const { return header.form() == Form::bytes && header.samples() == 1; }
};

// The body of imageReadOpen. False on failure: reported, with orb__err set.
[[nodiscard]] bool read_open(ORB_IMAGE& image, const Member& member);

// The handle's scan slot for a reader.
int32_t read_scan(void* data, int32_t line, void* rows_out);

// The body of imageIsFile.
bool is_of_member(const char* name, std::FILE* stream, const Member& member);

}  // namespace orb::pnm
