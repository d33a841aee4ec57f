// Writing a PNG: the open call, and what an open file keeps between the calls.
#pragma once

#include <cstdint>

#include "codec.h"
#include "layout.h"
#include "orbbase/core.h"

namespace orb::png {

// The record of an open file. One flat block: the handle's release frees it, release_writer what it points
// to.
struct Writer {
  Codec codec;
  ORB_WINDOW window;
  uint32_t width;
  Layout layout;
  uint32_t palette_count;  // entries of the lookup table of indices
  uint8_t* packed;         // one row as the codec takes it; null when that is the application's own
  int64_t next_line;       // the one to come; below window.bottom when all are there
  int32_t failure;         // code of an earlier failure: the codec can go no further

  // One sample a pixel of a width that the file stores: the codec takes the row as it comes.
  [[nodiscard]] bool takes_rows_as_they_come() const {
    return layout.file_samples == 1 && !layout.is_scaled() && !layout.has_indices;
  }
};

// The body of imageWriteOpen. False on failure: reported, with orb__err set, and no file left that was not
// there before.
[[nodiscard]] bool write_open(ORB_IMAGE& image);

// The handle's scan slot for a writer.
int32_t write_scan(void* data, int32_t line, void* rows);

void release_writer(Writer& writer);

}  // namespace orb::png
