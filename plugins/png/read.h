// Reading a PNG: the open call, and what an open file keeps between the calls.
#pragma once

#include <cstdint>
#include <cstdio>

#include "codec.h"
#include "layout.h"
#include "orbbase/core.h"

namespace orb::png {

// A palette as four tables of 256 values, so that any byte may be looked up.
struct PaletteTables {
  uint8_t rgba[4][256];
  int32_t count;  // entries that the file declares, 1 to 256
};

// The record of an open file. One flat block: the handle's release frees it, release_reader what it points
// to.
struct Reader {
  Codec codec;
  ORB_WINDOW window;
  uint32_t width;
  uint32_t height;
  Layout layout;
  PaletteTables palette;
  bool is_palette;
  bool has_key;  // the matte is 0 where the colours are these, opaque elsewhere
  uint16_t key[3];
  bool is_interlaced;  // stored in seven passes over the whole picture
  void** rows;         // given out; ORB_chan_free
  uint8_t* packed;     // one row as the codec gives it; null when that is rows[0] itself
  uint8_t** held;      // interlaced: every row as the codec gives it, from the top; null until the first read
  int64_t next_line;   // the one that a sequential file gives next
  int32_t failure;     // code of an earlier failure: the codec can go no further
  bool has_lost_bits;  // said once that samples hold more bits than declared

  [[nodiscard]] bool reads_into_rows() const { return layout.file_samples == 1 && !is_palette; }
};

// The body of imageReadOpen. False on failure: reported, with orb__err set.
[[nodiscard]] bool read_open(ORB_IMAGE& image);

// The handle's scan slot for a reader.
int32_t read_scan(void* data, int32_t line, void* rows_out);

// The body of imageIsFile.
bool is_png(const char* name, std::FILE* stream);

void release_reader(Reader& reader);

}  // namespace orb::png
