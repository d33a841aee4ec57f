// Writing an OpenEXR file: the open call, and what an open file keeps between the calls.
#pragma once

#include <openexr.h>

#include <cstdint>

#include "channels.h"
#include "codec.h"
#include "orbbase/core.h"
#include "part.h"
#include "settings.h"

namespace orb::exr {

struct WritePart;

struct Writer {
  Codec codec;
  Settings settings;
  uint8_t* band;  // the chunk being filled
  exr_encode_pipeline_t pipeline;
  exr_result_t (*compress)(exr_encode_pipeline_t*);  // the codec library's own
  bool is_started;                                   // the pipeline has buffers
  WritePart* parts;                                  // the first slot's data
  int32_t part_count;
  int32_t current;          // the part being written
  uint64_t overflow_count;  // finite samples that no half holds
  int32_t failure;          // code of an earlier failure: the codec can go no further
};

// One image of the handle; its driver slot's data. They lie in one array.
struct WritePart {
  Writer* writer;
  int32_t index;
  Part part;
  ORB_CHANNELS groups[3];  // colour, matte, auxiliary; the names are not its own
  char* names[3];          // of the channels, by group
  int32_t chunk_lines;     // of every chunk but the last
  int64_t lines_written;
};

// The body of imageWriteOpen. False on failure: reported, with orb__err set, and no file left that was not
// there before.
[[nodiscard]] bool write_open(ORB_IMAGE& image);

// The handle's scan slot for a writer; data is a WritePart.
int32_t write_scan(void* data, int32_t line, void* rows);

// Finds how each image of a description is stored, and makes the description say so. False when the format
// cannot hold it; reported, orb__err -16.
[[nodiscard]] bool lay_out_parts(ORB_IMAGE& image, Writer& writer);

// Whether a compression changes samples of the writer's channels.
[[nodiscard]] bool is_lossy(const Writer& writer);

// Adds all parts with their attributes and writes the header. False, reported.
[[nodiscard]] bool write_header(const ORB_IMAGE& image, Writer& writer);

void end_pipeline(Writer& writer);

}  // namespace orb::exr
