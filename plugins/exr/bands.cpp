#include "bands.h"

#include <algorithm>
#include <cstring>

#include "orbbase/driver.h"
#include "plugins/common/description.h"

namespace orb::exr {
namespace {

// Where the chunk's samples go: behind those of the tiles to its left.
void aim(exr_decode_pipeline_t& pipeline, const Part& part, uint8_t* band, int32_t column) {
  for (int32_t i = 0; i < part.plane_count; ++i) {
    const Plane& plane = part.planes[i];
    exr_coding_channel_info_t& channel = pipeline.channels[i];
    const auto sample_bytes = static_cast<int32_t>(plane.sample_bytes());
    channel.user_pixel_stride = sample_bytes;
    channel.user_line_stride = sample_bytes * part.band.width;
    channel.decode_to_ptr = band + part.band.plane_at(plane) +
                            static_cast<uint64_t>(column) * static_cast<uint64_t>(sample_bytes);
  }
}

// A chunk that did not get smaller is stored as it is. The codec library knows that, but not for every compression:
// its 3.1 decodes what never was B44.
exr_result_t unpack(exr_decode_pipeline_t* pipeline) {
  const Current& current = *static_cast<Current*>(pipeline->decoding_user_data);
  const uint64_t size_bytes = pipeline->chunk.unpacked_size;
  if (pipeline->chunk.packed_size != size_bytes) return current.decompress(pipeline);
  if (pipeline->unpacked_buffer == pipeline->packed_buffer) return EXR_ERR_SUCCESS;
  if (pipeline->unpacked_alloc_size < size_bytes) {
    void* buffer = allocate_for_codec(size_bytes);
    if (!buffer) return EXR_ERR_OUT_OF_MEMORY;
    ERR_free(pipeline->unpacked_buffer);
    pipeline->unpacked_buffer = buffer;
    pipeline->unpacked_alloc_size = size_bytes;
  }
  std::memcpy(pipeline->unpacked_buffer, pipeline->packed_buffer, size_bytes);
  return EXR_ERR_SUCCESS;
}

exr_result_t choose_routines(Current& current, exr_context_t context) {
  exr_decode_pipeline_t& pipeline = current.pipeline;
  const exr_result_t result = exr_decoding_choose_default_routines(context, current.index, &pipeline);
  if (result != EXR_ERR_SUCCESS || !pipeline.decompress_fn) return result;
  current.decompress = pipeline.decompress_fn;
  pipeline.decoding_user_data = &current;
  pipeline.decompress_fn = unpack;
  return EXR_ERR_SUCCESS;
}

exr_result_t decode(Reader& reader, const Part& part, const exr_chunk_info_t& chunk, int32_t column) {
  Current& current = reader.current;
  exr_context_t context = reader.codec.context;
  exr_decode_pipeline_t& pipeline = current.pipeline;
  const bool is_first = !current.is_started;
  current.is_started = true;
  exr_result_t result = is_first ? exr_decoding_initialize(context, current.index, &chunk, &pipeline)
                                 : exr_decoding_update(context, current.index, &chunk, &pipeline);
  if (result != EXR_ERR_SUCCESS) return result;
  if (pipeline.channel_count != part.plane_count) return EXR_ERR_CORRUPT_CHUNK;
  aim(pipeline, part, current.band, column);
  if (is_first) result = choose_routines(current, context);
  return result == EXR_ERR_SUCCESS ? exr_decoding_run(context, current.index, &pipeline) : result;
}

// What a chunk says of itself must be what the header made of it: the band has room for no more.
bool fits(const exr_chunk_info_t& chunk, int32_t width, int32_t height) {
  return chunk.width == width && chunk.height == height;
}

exr_result_t load_chunk(Reader& reader, const Part& part, int64_t first_line, int32_t count) {
  exr_chunk_info_t chunk;
  const auto y = static_cast<int>(part.place.lines.mirror - part.place.active.top + first_line);
  const exr_result_t result =
      exr_read_scanline_chunk_info(reader.codec.context, reader.current.index, y, &chunk);
  if (result != EXR_ERR_SUCCESS) return result;
  return fits(chunk, part.band.width, count) ? decode(reader, part, chunk, 0) : EXR_ERR_CORRUPT_CHUNK;
}

exr_result_t load_tiles(Reader& reader, const Part& part, int64_t first_line, int32_t count) {
  const auto down = static_cast<int>(first_line / part.band.lines);
  for (int32_t i = 0; i < part.band.across; ++i) {
    exr_chunk_info_t chunk;
    const int32_t column = i * part.band.tile_width;
    const int32_t width = std::min(part.band.tile_width, part.band.width - column);
    exr_result_t result =
        exr_read_tile_chunk_info(reader.codec.context, reader.current.index, i, down, 0, 0, &chunk);
    if (result != EXR_ERR_SUCCESS) return result;
    if (!fits(chunk, width, count)) return EXR_ERR_CORRUPT_CHUNK;
    result = decode(reader, part, chunk, column);
    if (result != EXR_ERR_SUCCESS) return result;
  }
  return EXR_ERR_SUCCESS;
}

// The pipeline of a failed chunk is not gone on with.
void end_pipeline(Reader& reader) {
  if (reader.current.is_started) exr_decoding_destroy(reader.codec.context, &reader.current.pipeline);
  reader.current.pipeline = {};
  reader.current.is_started = false;
}

}  // namespace

int32_t load_band(const ReadPart& read, int64_t data_line, int32_t line) {
  Reader& reader = *read.reader;
  const Part& part = read.part;
  Current& current = reader.current;
  if (data_line >= current.first_line && data_line - current.first_line < current.line_count) return 0;
  const int64_t first_line = data_line - data_line % part.band.lines;
  // What is damaged is not decoded again for every line of it.
  if (first_line == current.bad_line) {
    orb__report(ORB_MSG_CANNOT_DECODE, line);
    return fail(current.bad_code);
  }
  const auto count = static_cast<int32_t>(
      std::min<int64_t>(part.band.lines, plugin::height_of(part.place.active) - first_line));
  forget_errors(reader.codec);
  current.line_count = 0;
  const exr_result_t result = checked(part.band.across > 0 ? load_tiles(reader, part, first_line, count)
                                                           : load_chunk(reader, part, first_line, count));
  if (result == EXR_ERR_SUCCESS) {
    current.first_line = first_line;
    current.line_count = count;
    return 0;
  }
  const int32_t code = report_failure(reader.codec, result, line);
  end_pipeline(reader);
  if (code != ORB_E_MEMORY) {
    current.bad_line = first_line;
    current.bad_code = code;
  }
  return code;
}

void release_current(Reader& reader) {
  end_pipeline(reader);
  ORB_chan_free(reader.current.rows);
  ERR_free(reader.current.band);
  reader.current = {};
  reader.current.index = -1;
  reader.current.bad_line = -1;
}

}  // namespace orb::exr
