// The scanlines of an OpenEXR file that is written: from channel rows into the planes of a chunk, and the chunk,
// when it is full, into the file.
#include <algorithm>
#include <cstring>

#include "orbbase/driver.h"
#include "plugins/common/description.h"
#include "plugins/common/reports.h"
#include "samples.h"
#include "write.h"

namespace orb::exr {
namespace {

int32_t fail_for_good(Writer& writer, exr_result_t result, int64_t line) {
  return writer.failure = report_failure(writer.codec, result, line);
}

int64_t height_of(const WritePart& out) { return plugin::height_of(out.part.place.active); }

bool is_next(const WritePart& out, int32_t line) {
  const ORB_WINDOW& active = out.part.place.active;
  if (out.lines_written >= height_of(out)) return false;
  return line == active.top - out.lines_written;
}

// Parts come one after the other.
bool is_part_to_come(const Writer& writer, const WritePart& out) {
  if (out.index == writer.current) return true;
  const WritePart& before = writer.parts[writer.current];
  return out.index == writer.current + 1 && before.lines_written == height_of(before);
}

// ---- Samples ----

// Float bits, on their way to their stored form. out may be where they are.
void put_floats(Writer& writer, std::span<const uint32_t> floats, exr_pixel_type_t type, uint8_t* out) {
  if (type == EXR_PIXEL_HALF) {
    writer.overflow_count += halves_from_floats(floats, reinterpret_cast<uint16_t*>(out));
  } else {
    std::memcpy(out, floats.data(), floats.size_bytes());
  }
}

// Doubles by way of floats, a piece at a time.
bool put_doubles(Writer& writer, const uint8_t* doubles, size_t count, exr_pixel_type_t type, uint8_t* out) {
  if (type == EXR_PIXEL_UINT) return integers_from_doubles(doubles, count, reinterpret_cast<uint32_t*>(out));
  constexpr size_t kPiece = 256;
  uint32_t floats[kPiece];
  const size_t sample_bytes = type == EXR_PIXEL_HALF ? 2 : 4;
  for (size_t at = 0; at < count; at += kPiece) {
    const size_t taken = std::min(kPiece, count - at);
    if (!floats_from_doubles(doubles + at * 8, taken, floats)) return false;
    put_floats(writer, {floats, taken}, type, out + at * sample_bytes);
  }
  return true;
}

const ORB_CHANNELS& group_of(const WritePart& out, int32_t row) {
  if (row < out.groups[0].count) return out.groups[0];
  return row < out.groups[0].count + out.groups[1].count ? out.groups[1] : out.groups[2];
}

bool put_row(WritePart& out, const Plane& plane, const uint8_t* row, uint8_t* to) {
  const auto count = static_cast<size_t>(out.part.band.width);
  const ORB_CHANNELS& group = group_of(out, plane.row);
  if (group.type == ORB_C_DOUBLE) return put_doubles(*out.writer, row, count, plane.type, to);
  put_floats(*out.writer, {reinterpret_cast<const uint32_t*>(row), count}, plane.type, to);
  return true;
}

// ---- Chunks ----

// The chunk that a line of the data is in.
struct Chunk {
  int64_t first_line;
  int32_t lines;
};
Chunk chunk_of(const WritePart& out, int64_t line) {
  const int64_t first_line = line - line % out.chunk_lines;
  return {first_line, static_cast<int32_t>(std::min<int64_t>(out.chunk_lines, height_of(out) - first_line))};
}

bool put_line(WritePart& out, int64_t line_in_chunk, void* const* rows) {
  const Band& band = out.part.band;
  const Place& place = out.part.place;
  const auto left = static_cast<uint64_t>(int64_t{place.active.left} - place.window.left);
  for (int32_t i = 0; i < out.part.plane_count; ++i) {
    const Plane& plane = out.part.planes[i];
    const uint64_t given_bytes = group_of(out, plane.row).type == ORB_C_DOUBLE ? 8 : 4;
    const uint64_t line_bytes = static_cast<uint64_t>(band.width) * plane.sample_bytes();
    uint8_t* to = out.writer->band + band.plane_at(plane) + static_cast<uint64_t>(line_in_chunk) * line_bytes;
    if (!put_row(out, plane, static_cast<const uint8_t*>(rows[plane.row]) + left * given_bytes, to))
      return false;
  }
  return true;
}

void aim(Writer& writer, const Part& part) {
  for (int32_t i = 0; i < part.plane_count; ++i) {
    const Plane& plane = part.planes[i];
    exr_coding_channel_info_t& channel = writer.pipeline.channels[i];
    const auto sample_bytes = static_cast<int32_t>(plane.sample_bytes());
    channel.user_pixel_stride = sample_bytes;
    channel.user_line_stride = sample_bytes * part.band.width;
    channel.encode_from_ptr = writer.band + part.band.plane_at(plane);
  }
}

// What did not get smaller is stored as it is; readers know it by its size. The codec library's 3.1 leaves coded what
// came to be exactly as large, which nobody reads.
exr_result_t pack(exr_encode_pipeline_t* pipeline) {
  const Writer& writer = *static_cast<Writer*>(pipeline->encoding_user_data);
  const exr_result_t result = writer.compress(pipeline);
  if (result != EXR_ERR_SUCCESS || pipeline->compressed_bytes < pipeline->packed_bytes) return result;
  if (pipeline->compressed_buffer == pipeline->packed_buffer) return result;
  if (pipeline->compressed_alloc_size < pipeline->packed_bytes) return EXR_ERR_INVALID_ARGUMENT;
  std::memcpy(pipeline->compressed_buffer, pipeline->packed_buffer, pipeline->packed_bytes);
  pipeline->compressed_bytes = pipeline->packed_bytes;
  return EXR_ERR_SUCCESS;
}

exr_result_t choose_routines(Writer& writer, int32_t index) {
  exr_encode_pipeline_t& pipeline = writer.pipeline;
  const exr_result_t result = exr_encoding_choose_default_routines(writer.codec.context, index, &pipeline);
  if (result != EXR_ERR_SUCCESS || !pipeline.compress_fn) return result;
  writer.compress = pipeline.compress_fn;
  pipeline.encoding_user_data = &writer;
  pipeline.compress_fn = pack;
  return EXR_ERR_SUCCESS;
}

exr_result_t encode(WritePart& out, const Chunk& full) {
  Writer& writer = *out.writer;
  exr_context_t context = writer.codec.context;
  const Place& place = out.part.place;
  const auto y = static_cast<int>(place.lines.mirror - place.active.top + full.first_line);
  exr_chunk_info_t chunk;
  exr_result_t result = exr_write_scanline_chunk_info(context, out.index, y, &chunk);
  if (result != EXR_ERR_SUCCESS) return result;
  const bool is_first = !writer.is_started;
  writer.is_started = true;
  result = is_first ? exr_encoding_initialize(context, out.index, &chunk, &writer.pipeline)
                    : exr_encoding_update(context, out.index, &chunk, &writer.pipeline);
  if (result != EXR_ERR_SUCCESS) return result;
  if (writer.pipeline.channel_count != out.part.plane_count) return EXR_ERR_INVALID_ARGUMENT;
  aim(writer, out.part);
  if (is_first) result = choose_routines(writer, out.index);
  return result == EXR_ERR_SUCCESS ? exr_encoding_run(context, out.index, &writer.pipeline) : result;
}

}  // namespace

void end_pipeline(Writer& writer) {
  if (writer.is_started) exr_encoding_destroy(writer.codec.context, &writer.pipeline);
  writer.pipeline = {};
  writer.is_started = false;
}

int32_t write_scan(void* data, int32_t line, void* rows) {
  WritePart& out = *static_cast<WritePart*>(data);
  Writer& writer = *out.writer;
  const Place& place = out.part.place;
  if (writer.failure != 0) return fail(writer.failure);
  if (line < place.window.bottom || line > place.window.top) return plugin::refuse_line(line);
  // Not in the file, and so at any time.
  if (line < place.active.bottom || line > place.active.top) return 0;
  if (!is_next(out, line) || !is_part_to_come(writer, out)) return plugin::refuse_line(line);
  if (out.index != writer.current) end_pipeline(writer);
  writer.current = out.index;
  const int64_t at = data_line(out.part, line);
  const Chunk chunk = chunk_of(out, at);
  if (!put_line(out, at - chunk.first_line, static_cast<void* const*>(rows))) {
    return plugin::refuse_row(line, "a double is no 32-bit integer or float");
  }
  ++out.lines_written;
  if (at != chunk.first_line + chunk.lines - 1) return 0;
  forget_errors(writer.codec);
  const exr_result_t result = checked(encode(out, chunk));
  return result == EXR_ERR_SUCCESS ? 0 : fail_for_good(writer, result, line);
}

}  // namespace orb::exr
