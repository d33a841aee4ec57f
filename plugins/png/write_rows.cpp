// The scanlines of a PNG: from the application's channel rows to the codec's rows.
#include <functional>
#include <span>

#include "plugins/common/planes.h"
#include "samples.h"
#include "write.h"

namespace orb::png {
namespace {

template <class T>
bool fits(std::span<const T> samples, int32_t width) {
  return width == static_cast<int32_t>(8 * sizeof(T)) || largest_sample<T>(samples) < 1U << width;
}

// The row as the codec takes it, or null when samples do not fit their width.
template <class T>
const uint8_t* pack_samples(const Writer& writer, void* const* rows) {
  const Layout& layout = writer.layout;
  T* packed = reinterpret_cast<T*>(writer.packed);
  const T* samples = static_cast<const T*>(rows[0]);
  if (layout.file_samples > 1) {
    plugin::merge_pixels(rows, static_cast<size_t>(layout.file_samples), writer.width, packed,
                         std::identity());
    samples = packed;
  }
  const std::span<const T> row(samples,
                               static_cast<size_t>(writer.width) * static_cast<size_t>(layout.file_samples));
  if (!fits(row, layout.width)) return nullptr;
  if (!layout.is_scaled()) return reinterpret_cast<const uint8_t*>(samples);
  repeat_bits<T>(row, layout.width, layout.depth, packed);
  return writer.packed;
}

const uint8_t* pack_indices(const Writer& writer, void* const* rows) {
  const std::span<const uint16_t> row(static_cast<const uint16_t*>(rows[0]), writer.width);
  return indices_to_bytes(row, writer.packed) < writer.palette_count ? writer.packed : nullptr;
}

const uint8_t* pack(const Writer& writer, void* const* rows) {
  if (writer.layout.has_indices) return pack_indices(writer, rows);
  return writer.layout.sample_bytes() == 2 ? pack_samples<uint16_t>(writer, rows)
                                           : pack_samples<uint8_t>(writer, rows);
}

}  // namespace

int32_t write_scan(void* data, int32_t line, void* rows) {
  Writer& writer = *static_cast<Writer*>(data);
  if (writer.failure != 0) return fail(writer.failure);
  if (line != writer.next_line || line < writer.window.bottom) {
    return plugin::refuse_line(line);
  }
  const uint8_t* row = pack(writer, static_cast<void* const*>(rows));
  if (!row) {
    return plugin::refuse_row(line, writer.layout.has_indices ? "a colour index is beyond its lookup table"
                                                              : "a sample does not fit the channel width");
  }
  Codec& codec = writer.codec;
  if (!guarded(codec, [&codec, row] { png_write_row(codec.png, row); })) {
    return writer.failure = report_failure(codec, line);
  }
  --writer.next_line;
  return 0;
}

}  // namespace orb::png
