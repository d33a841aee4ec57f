// An RLA file open for reading: what its images share, and what each has. The driver block's slots point to the
// images, which lie in one array.
#pragma once

#include "orbbase/formats/rla/input_window.h"
#include "orbbase/formats/rla/layout.h"

namespace orb::rla {

struct Input {
  std::FILE* stream;
  InputWindow window;
  uint64_t held_bytes;  // by all images' rows, tables and scratch
  int32_t image_count;
};

struct ReadImage {
  Input* input;
  Layout layout;
  uint64_t most_block_bytes;
  uint64_t table_position;
  void** rows;     // null before the first row is read
  uint8_t* table;  // the offset table as in the file; null before the first active row is read
  uint8_t* scratch;
  bool rows_are_spaced;  // slack behind each row, not only behind the last
  bool passes_window;    // rows come from the file as they are
};

// The installed scanline function.
int32_t read_row(void* data, int32_t line, void* rows_out);

}  // namespace orb::rla
