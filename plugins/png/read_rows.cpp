// The scanlines of a PNG: from the codec's rows to the channel rows that a reader gives out.
#include <cstring>
#include <functional>
#include <span>

#include "plugins/common/planes.h"
#include "read.h"
#include "samples.h"
#include "texts.h"

namespace orb::png {
namespace {

int32_t fail_for_good(Reader& reader, int32_t code) {
  reader.failure = code;
  return fail(code);
}

// ---- Decoding ----

// Reads what stands behind the picture, up to the file's end mark: a file that lacks it was cut.
bool finish(Codec& codec) {
  png_textp texts = nullptr;
  const int text_count = png_get_text(codec.png, codec.info, &texts, nullptr);
  codec.counts_metadata = true;
  const bool is_finished = guarded(codec, [&codec] { png_read_end(codec.png, codec.info); });
  codec.counts_metadata = false;
  if (!is_finished || codec.is_out_of_memory || codec.is_over_budget) return false;
  note_late_texts(codec, text_count);
  return true;
}

int32_t decode_next(Reader& reader, int32_t line) {
  Codec& codec = reader.codec;
  uint8_t* row = reader.packed ? reader.packed : static_cast<uint8_t*>(reader.rows[0]);
  const bool is_read = guarded(codec, [&codec, row] { png_read_row(codec.png, row, nullptr); });
  if (!is_read) return fail_for_good(reader, report_failure(codec, line));
  --reader.next_line;
  if (line == reader.window.bottom && !finish(codec))
    return fail_for_good(reader, report_failure(codec, kNoLine));
  return 0;
}

bool allocate_held(Reader& reader) {
  reader.held = make_zeroed<uint8_t*>(reader.height).release();
  if (!reader.held) return false;
  for (uint32_t i = 0; i < reader.height; ++i) {
    reader.held[i] = static_cast<uint8_t*>(allocate(reader.layout.row_bytes(reader.width)));
    if (!reader.held[i]) return false;
  }
  return true;
}

int32_t decode_all(Reader& reader) {
  Codec& codec = reader.codec;
  if (!allocate_held(reader)) return fail_for_good(reader, ORB_E_MEMORY);
  uint8_t** rows = reader.held;
  const bool is_read = guarded(codec, [&codec, rows] { png_read_image(codec.png, rows); });
  if (!is_read || !finish(codec)) return fail_for_good(reader, report_failure(codec, kNoLine));
  return 0;
}

// ---- Channel rows ----

template <class T>
T* plane(const Reader& reader, int channel) {
  return static_cast<T*>(reader.rows[channel]);
}

template <class T>
void take_declared_bits(Reader& reader) {
  const Layout& layout = reader.layout;
  bool is_exact = true;
  for (int c = 0; c < layout.file_samples; ++c) {
    const std::span<T> row(plane<T>(reader, c), reader.width);
    is_exact = take_repeated_bits<T>(row, layout.width, layout.depth) && is_exact;
  }
  if (is_exact || reader.has_lost_bits) return;
  reader.has_lost_bits = true;
  plugin::warn(reader.codec.stream, "samples have more bits than the file declares; the lowest are lost");
}

template <class T>
void fill_rows(Reader& reader, const uint8_t* packed) {
  const Layout& layout = reader.layout;
  const T* samples = reinterpret_cast<const T*>(packed);
  T* planes[4] = {};
  for (int c = 0; c < layout.colours + layout.mattes; ++c) planes[c] = plane<T>(reader, c);
  if (layout.file_samples > 1) {
    plugin::split_pixels(samples, static_cast<size_t>(layout.file_samples), reader.width, reader.rows,
                         std::identity());
  } else if (samples != planes[0]) {
    std::memcpy(planes[0], samples, reader.width * sizeof(T));
  }
  if (reader.has_key) {  // before the samples change: the key is of the file's depth
    const T opaque = static_cast<T>((1U << layout.width) - 1);
    matte_from_key<T>(planes, layout.colours, reader.key, reader.width, opaque, planes[layout.colours]);
  }
  if (layout.is_scaled()) take_declared_bits<T>(reader);
}

int32_t fill_from_palette(Reader& reader, const uint8_t* packed, int32_t line) {
  const std::span<const uint8_t> indices(packed, reader.width);
  const uint32_t largest = reader.layout.has_indices ? indices_from_bytes(indices, plane<uint16_t>(reader, 0))
                                                     : largest_sample(indices);
  if (largest >= static_cast<uint32_t>(reader.palette.count)) {
    orb__report(ORB_MSG_CANNOT_DECODE, line);  // an index without a colour
    return fail_for_good(reader, ORB_E_DECODE);
  }
  for (int c = 0; c < reader.layout.colours + reader.layout.mattes; ++c) {
    map_row(indices, reader.palette.rgba[c], plane<uint8_t>(reader, c));
  }
  return 0;
}

int32_t fill(Reader& reader, const uint8_t* packed, int32_t line) {
  if (reader.is_palette) return fill_from_palette(reader, packed, line);
  if (reader.layout.sample_bytes() == 2) {
    fill_rows<uint16_t>(reader, packed);
  } else {
    fill_rows<uint8_t>(reader, packed);
  }
  return 0;
}

int32_t read_line(Reader& reader, int32_t line) {
  if (!reader.is_interlaced) {
    const int32_t code = decode_next(reader, line);
    if (code != 0) return code;
    return fill(reader, reader.packed ? reader.packed : plane<uint8_t>(reader, 0), line);
  }
  if (!reader.held) {
    const int32_t code = decode_all(reader);
    if (code != 0) return code;
  }
  return fill(reader, reader.held[static_cast<int64_t>(reader.window.top) - line], line);
}

}  // namespace

int32_t read_scan(void* data, int32_t line, void* rows_out) {
  Reader& reader = *static_cast<Reader*>(data);
  if (reader.failure != 0) return fail(reader.failure);
  const bool is_inside = line >= reader.window.bottom && line <= reader.window.top;
  if (!is_inside || (!reader.is_interlaced && line != reader.next_line)) {
    return plugin::refuse_line(line);
  }
  const int32_t code = read_line(reader, line);
  if (code != 0) return code;
  *static_cast<void***>(rows_out) = reader.rows;
  return 0;
}

}  // namespace orb::png
