// Opening a PNG for writing and closing it. All that can be refused is refused before the file is touched.
#include "write.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include "metadata.h"
#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "plugins/common/palette.h"
#include "settings.h"
#include "texts.h"

namespace orb::png {
namespace {

constexpr const char* kCall = "Opening a PNG for writing";

using plugin::height_of;
using plugin::width_of;

// For an open that failed.
void undo(Writer& writer) {
  release_writer(writer);
  plugin::remove_created(writer.codec.stream);
}
using WriterOwner = plugin::RecordOwner<Writer, undo>;

// A PNG's sides are 31-bit numbers above 0; its offsets are symmetric around 0.
bool is_storable(const ORB_WINDOW& window) {
  const auto is_side = [](int64_t pixels) { return pixels >= 1 && pixels <= INT32_MAX; };
  return is_side(width_of(window)) && is_side(height_of(window)) && window.left != INT32_MIN &&
         window.bottom != INT32_MIN;
}

bool is_within_limits(const Writer& writer) {
  const uint64_t row_bytes = writer.layout.row_bytes(writer.width);
  // The codec library keeps a row for each filter it tries, and the ones before.
  return orb__within_limit(ORB_LIMIT_BUFFER, row_bytes, kCall) != 0 &&
         orb__within_limit(ORB_LIMIT_HANDLE, 5 * row_bytes, kCall) != 0;
}

// ---- The palette ----

struct PaletteChunks {
  png_color colours[256];
  png_byte alphas[256];
  int count;
  int alpha_count;  // up to the last entry that is not opaque
};

// An entry is stored in 8 bits a value.
bool take_entry(const ORB_LUT_ENTRY& entry, int index, PaletteChunks* out) {
  png_byte values[4];
  for (int c = 0; c < 4; ++c) {
    if (!plugin::is_widened(entry.rgba[c])) return false;
    values[c] = plugin::narrowed(entry.rgba[c]);
  }
  out->colours[index] = {values[0], values[1], values[2]};
  out->alphas[index] = values[3];
  if (values[3] != 255) out->alpha_count = index + 1;
  return true;
}

bool take_palette(const ORB_IMAGE& image, const Layout& layout, PaletteChunks* out) {
  const ORB_LUT* lut = plugin::lent_table(image.info, 1 << layout.depth);
  if (!lut) return false;
  out->count = lut->entry_count;
  for (int i = 0; i < out->count; ++i) {
    if (!take_entry(lut->entries[i], i, out)) {
      return refuse(ORB_MSG_CANNOT_WRITE, image.info.handle,
                    "the lookup table's values need more than 8 bits");
    }
  }
  return true;
}

// ---- The header ----

int filter_flags(Filter filter) {
  switch (filter) {
    case Filter::none:
      return PNG_FILTER_NONE;
    case Filter::sub:
      return PNG_FILTER_SUB;
    case Filter::up:
      return PNG_FILTER_UP;
    case Filter::average:
      return PNG_FILTER_AVG;
    case Filter::paeth:
      return PNG_FILTER_PAETH;
    case Filter::adaptive:
      break;
  }
  return 0;  // the codec library's own choice, by depth and colour type
}

void put_significant_bits(const Codec& codec, const Layout& layout) {
  png_color_8 bits = {};
  bits.red = bits.green = bits.blue = bits.gray = bits.alpha = static_cast<png_byte>(layout.width);
  png_set_sBIT(codec.png, codec.info, &bits);
}

bool put_header(Writer& writer, const Settings& settings, const PaletteChunks& palette) {
  Codec& codec = writer.codec;
  const Layout layout = writer.layout;
  const auto height = static_cast<png_uint_32>(height_of(writer.window));
  const bool is_put = guarded(codec, [&codec, &writer, &settings, &palette, layout, height] {
    png_set_IHDR(codec.png, codec.info, writer.width, height, layout.depth, layout.color_type,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(codec.png, settings.compression);
    const int filters = filter_flags(settings.filter);
    if (filters != 0) png_set_filter(codec.png, PNG_FILTER_TYPE_BASE, filters);
    if (layout.is_scaled()) put_significant_bits(codec, layout);
    if (!layout.has_indices) return;
    png_set_PLTE(codec.png, codec.info, palette.colours, palette.count);
    if (palette.alpha_count > 0)
      png_set_tRNS(codec.png, codec.info, palette.alphas, palette.alpha_count, nullptr);
  });
  if (!is_put) report_failure(codec, kNoLine);
  return is_put;
}

// Samples come one a byte or two, as the machine holds them.
bool write_header(Codec& codec) {
  const bool is_written = guarded(codec, [&codec] {
    png_write_info(codec.png, codec.info);
    png_set_packing(codec.png);
    if (std::endian::native == std::endian::little) png_set_swap(codec.png);
  });
  if (!is_written || codec.is_out_of_memory) {
    report_failure(codec, kNoLine);
    return false;
  }
  return true;
}

// From here on the handle's description says what the file will hold, and so what it will not.
void describe(ORB_INFO& info, const Writer& writer) {
  info.field_mode = 1;
  info.words[0] = info.words[1] = 0;
  info.frame_count = 0;
  info.int_d = 0;
  info.word_f = 0;
  ORB_IFD& ifd = info.images[0];
  ifd.image_kind = 1;
  ifd.aspect_kind = 1;
  ifd.orientation &= ~static_cast<uint32_t>(ORB_BOTTOM_UP);
  ifd.active_window = ifd.window;
  ifd.pair_a[0] = static_cast<int32_t>(writer.width);
  ifd.pair_a[1] = static_cast<int32_t>(height_of(ifd.window));
  if (ifd.color.count != 0) ifd.index.count = 0;
}

// ---- The handle ----

// A file that does not hold all rows gets no end mark, so that it is not taken for whole.
int32_t finish(Writer& writer) {
  if (writer.failure != 0) return writer.failure;
  Codec& codec = writer.codec;
  const int64_t missing = writer.next_line - writer.window.bottom + 1;
  if (missing > 0) return plugin::report_missing_rows(codec.stream.path, height_of(writer.window), missing);
  if (!guarded(codec, [&codec] { png_write_end(codec.png, nullptr); })) return report_failure(codec, kNoLine);
  return plugin::finish_and_report(codec.stream);
}

bool make_row(Writer& writer) {
  if (writer.takes_rows_as_they_come()) return true;
  writer.packed = static_cast<uint8_t*>(allocate(writer.layout.row_bytes(writer.width)));
  return writer.packed != nullptr;
}

bool start(Codec& codec) {
  if (start_writing(codec)) return true;
  report_failure(codec, kNoLine);
  return false;
}

}  // namespace

bool write_open(ORB_IMAGE& image) {
  Settings settings;
  if (!read_settings(image.info, &settings)) return false;
  if (image.info.image_count != 1) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  auto writer = plugin::make_record<WriterOwner>();
  owned<ORB_DRIVER_BLOCK> block = make_zeroed<ORB_DRIVER_BLOCK>(1);
  if (!writer || !block) return false;
  ORB_IFD& ifd = image.info.images[0];
  if (!choose_layout(ifd, &writer->layout)) return false;
  if (!is_storable(ifd.window)) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  writer->window = ifd.window;
  writer->width = static_cast<uint32_t>(width_of(ifd.window));
  writer->next_line = ifd.window.top;
  PaletteChunks palette = {};
  if (writer->layout.has_indices && !take_palette(image, writer->layout, &palette)) return false;
  writer->palette_count = static_cast<uint32_t>(palette.count);
  if (!is_within_limits(*writer) || !make_row(*writer)) return false;
  describe(image.info, *writer);
  Codec& codec = writer->codec;
  const bool is_open = plugin::open_for_writing(image, kExtension, codec.stream) && start(codec) &&
                       put_header(*writer, settings, palette) && put_metadata(codec, image) &&
                       put_texts(codec, image, writer->layout) && write_header(codec);
  if (!is_open) return false;
  plugin::attach(image, block, writer, write_scan, plugin::close_writer<Writer, finish, release_writer>);
  return true;
}

void release_writer(Writer& writer) {
  release(writer.codec);
  ERR_free(writer.packed);
}

}  // namespace orb::png
