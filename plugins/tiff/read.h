// Reading a TIFF: the open call, and what an open file keeps between the calls.
#pragma once

#include <cstdint>

#include "codec.h"
#include "orbbase/core.h"
#include "page.h"

namespace orb::tiff {

// Where a page's decoder is: the next row that it gives of a strip. It cannot go back but to the first.
struct Decoder {
  bool is_running;
  uint32_t strip;  // counted over all planes
  uint32_t next_row;
};

// What the handle keeps of the page that was read last; other pages have nothing.
struct Current {
  int32_t index;      // -1: none
  void** rows;        // given out; ORB_chan_free
  uint8_t* band;      // packed rows
  uint16_t* indices;  // a row of palette indices on their way to colours
  Palette16 palette;
  uint32_t first_row;  // of the band, counted from the first of the file
  uint32_t row_count;  // in the band; 0: none
  Decoder decoder;
  uint32_t bad_row;  // no row from here to the end of its strip can be decoded; UINT32_MAX: not known
  int32_t bad_code;  // reported for it; 0: nobody has asked for such a row yet
};

// The record of an open file.
struct Reader {
  Codec codec;
  Current current;
};

// One image of the handle; its driver slot's data. They lie in one array.
struct ReadPage {
  Reader* reader;
  int32_t index;
  Page page;
  ORB_IFD ifd;  // groups and window as they were when the file was opened; the names are not its own
};

// The body of imageReadOpen. False on failure: reported, with orb__err set.
[[nodiscard]] bool read_open(ORB_IMAGE& image);

// The handle's scan and lut_read slots for a reader; data is a ReadPage.
int32_t read_scan(void* data, int32_t line, void* rows_out);
int32_t read_lut(void* data, ORB_LUT** lut_out);

// Gives back what the current page has of memory.
void release_current(Reader& reader);

}  // namespace orb::tiff
