// Writing: the open call, and what an open file keeps between the calls.
#pragma once

#include <cstdint>

#include "kinds.h"
#include "orbbase/core.h"
#include "plugins/common/stream.h"

namespace orb::pnm {

// The record of an open file. One flat block: the handle's release frees it.
struct Writer {
  plugin::Stream stream;
  Header header;
  uint8_t* packed;     // one row as the file holds it
  int64_t next_index;  // of the row to come, in the file's order
  int32_t failure;     // code of an earlier failure: no more is written
};

// The body of imageWriteOpen. False on failure: reported, with orb__err set, and no file left that was not
// there before.
[[nodiscard]] bool write_open(ORB_IMAGE& image, const Member& member);

// The handle's scan slot for a writer.
int32_t write_scan(void* data, int32_t line, void* rows);

}  // namespace orb::pnm
