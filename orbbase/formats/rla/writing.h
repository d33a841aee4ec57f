// An RLA file open for writing: what its images share, and what each has. The driver block's slots point to the
// images, which lie in one array.
#pragma once

#include "orbbase/formats/rla/layout.h"
#include "orbbase/formats/rla/output_buffer.h"

namespace orb::rla {

struct Output {
  OutputBuffer buffer;
  uint8_t* scratch;  // the coders', for the image that needs most
  uint64_t scratch_bytes;
  int64_t started_nanoseconds;
  int32_t image_count;
  int32_t failure;  // the first that was reported; the result of the close
};

struct WriteImage {
  Output* output;
  Layout layout;
  int64_t next_line;
  uint8_t* head;  // header and offset table, as they will stand in the file
};

// The installed scanline function.
int32_t write_row(void* data, int32_t line, void* rows);

}  // namespace orb::rla
