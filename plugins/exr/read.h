// Reading an OpenEXR file: the open call, and what an open file keeps between the calls.
#pragma once

#include <openexr.h>

#include <cstdint>

#include "codec.h"
#include "orbbase/core.h"
#include "part.h"

namespace orb::exr {

// What the handle keeps of the part that was read last; other parts have nothing.
struct Current {
  int32_t index;  // -1: none
  void** rows;    // given out; ORB_chan_free
  uint8_t* band;
  exr_decode_pipeline_t pipeline;
  exr_result_t (*decompress)(exr_decode_pipeline_t*);  // the codec library's own
  bool is_started;                                     // the pipeline has buffers
  int64_t first_line;                                  // of the band, counted from the first of the data
  int32_t line_count;                                  // in the band; 0: none
  int64_t bad_line;  // first of a band that cannot be decoded; -1: not known
  int32_t bad_code;  // reported for it
};

struct ReadPart;

// The record of an open file.
struct Reader {
  Codec codec;
  Current current;
  ReadPart* parts;  // the first slot's data
  int32_t part_count;
};

// One image of the handle; its driver slot's data. They lie in one array.
struct ReadPart {
  Reader* reader;
  int32_t index;
  Part part;
  ORB_IFD ifd;  // groups as they were when the file was opened; the names are not its own
};

// The body of imageReadOpen. False on failure: reported, with orb__err set.
[[nodiscard]] bool read_open(ORB_IMAGE& image);

// The handle's scan slot for a reader; data is a ReadPart.
int32_t read_scan(void* data, int32_t line, void* rows_out);

// Gives back what the current part has of memory.
void release_current(Reader& reader);

}  // namespace orb::exr
