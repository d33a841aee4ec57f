// Writing a TIFF: the open call, and what an open file keeps between the calls.
#pragma once

#include <cstdint>

#include "codec.h"
#include "orbbase/core.h"
#include "page.h"
#include "settings.h"

namespace orb::tiff {

// How one image is stored: its samples one pixel after the other, in strips.
struct WriteLayout {
  int32_t colours;
  int32_t mattes;
  int32_t aux;
  bool has_indices;
  bool is_separate;  // the matte's kind
  uint16_t sample_format;
  int32_t bits;
  Form form;
  uint32_t width;
  uint32_t height;
  uint32_t strip_rows;
  uint64_t row_bytes;

  [[nodiscard]] int32_t samples() const { return colours + mattes + aux + (has_indices ? 1 : 0); }
};

struct Writer {
  Codec codec;
  ORB_IMAGE* image;  // whose settled description is written with each page
  Settings settings;
  Palette16 palette;
  uint32_t palette_used;  // entries of the lookup table; the palette is longer
  uint8_t* packed;        // one row as the codec takes it
  int32_t current;        // the page being written; image_count when all are
  int32_t image_count;
  int32_t failure;  // code of an earlier failure: the codec can go no further
};

// One image of the handle; its driver slot's data. They lie in one array.
struct WritePage {
  Writer* writer;
  int32_t index;
  WriteLayout layout;
  ORB_WINDOW window;
  bool is_upward;
  uint32_t next_row;  // counted from the first of the file
};

// The body of imageWriteOpen. False on failure: reported, with orb__err set, and no file left that was not
// there before.
[[nodiscard]] bool write_open(ORB_IMAGE& image);

// The handle's scan slot for a writer; data is a WritePage.
int32_t write_scan(void* data, int32_t line, void* rows);

// Finds how the groups of a description are stored. False when a TIFF cannot hold them; reported, orb__err
// -16.
[[nodiscard]] bool choose_layout(const ORB_IFD& ifd, const Settings& settings, WriteLayout* out);

// Sets the tags of the page to be written. False: passed to report_failure.
[[nodiscard]] bool begin_page(Writer& writer, const WritePage& page);

// Ends the page being written. 0 or a code, reported.
[[nodiscard]] int32_t end_page(Writer& writer);

}  // namespace orb::tiff
