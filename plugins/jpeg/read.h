// Reading a JPEG: the open call, and what an open file keeps between the calls.
#pragma once

#include <cstdint>

#include "codec.h"
#include "markers.h"
#include "orbbase/core.h"

namespace orb::jpeg {

// The record of an open file. One flat block: the handle's release frees it, release_reader what it points to.
struct Reader {
  Decoder decoder;
  Comments comments;
  int32_t width;
  int32_t height;
  int32_t channels;   // 1 grey, 3 red green blue, 4 cyan magenta yellow black
  bool is_inverted;   // 4: the file holds what is missing of each ink
  bool is_started;    // the codec gives rows
  void** rows;        // given out; ORB_chan_free
  uint8_t* packed;    // one row as the codec gives it; null when that is rows[0] itself
  int64_t next_line;  // the one that comes next
  int32_t failure;    // code of an earlier failure: the codec can go no further
};

// The body of imageReadOpen. False on failure: reported, with orb__err set.
[[nodiscard]] bool read_open(ORB_IMAGE& image);

// The handle's scan slot for a reader.
int32_t read_scan(void* data, int32_t line, void* rows_out);

// The body of imageIsFile.
bool is_jpeg(const char* name, std::FILE* stream);

}  // namespace orb::jpeg
