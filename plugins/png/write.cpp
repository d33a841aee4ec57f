// Opening a PNG for writing and closing it. All that can be refused is refused before the file is touched.
#include "write.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include "memory.h"
#include "metadata.h"
#include "orbbase/driver.h"
#include "settings.h"
#include "streams.h"
#include "texts.h"

namespace orb::png {
namespace {

constexpr const char* kCall = "Opening a PNG for writing";

// For an open that failed.
struct WriterReleased {
  void operator()(Writer* writer) const {
    release_writer(*writer);
    remove_created(writer->codec);
    ERR_free(writer);
  }
};
using WriterOwner = std::unique_ptr<Writer, WriterReleased>;

bool refuse() {
  orb__report(ORB_MSG_CANNOT_HANDLE, kKey);
  set_error(ORB_E_HANDLE);
  return false;
}

int64_t width_of(const ORB_WINDOW& window) { return static_cast<int64_t>(window.right) - window.left + 1; }
int64_t height_of(const ORB_WINDOW& window) { return static_cast<int64_t>(window.top) - window.bottom + 1; }

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

bool refuse_palette(const ORB_IMAGE& image, const char* reason) {
  orb__report(ORB_MSG_CANNOT_WRITE, image.info.handle, reason);
  set_error(ORB_E_HANDLE);
  return false;
}

// An entry is stored in 8 bits a value: it must be 257 times that, as a reader gives it back.
bool take_entry(const ORB_LUT_ENTRY& entry, int index, PaletteChunks* out) {
  png_byte values[4];
  for (int c = 0; c < 4; ++c) {
    if (entry.rgba[c] % 257 != 0) return false;
    values[c] = static_cast<png_byte>(entry.rgba[c] / 257);
  }
  out->colours[index] = {values[0], values[1], values[2]};
  out->alphas[index] = values[3];
  if (values[3] != 255) out->alpha_count = index + 1;
  return true;
}

bool take_palette(const ORB_IMAGE& image, const Layout& layout, PaletteChunks* out) {
  const auto* lut = reinterpret_cast<const ORB_LUT*>(static_cast<uintptr_t>(image.info.write_option));
  if (!lut || !lut->entries) return refuse_palette(image, "colour indices need a lookup table");
  if (lut->entry_count < 1 || lut->entry_count > 1 << layout.depth) {
    return refuse_palette(image, "the lookup table does not fit the width of the colour indices");
  }
  out->count = lut->entry_count;
  for (int i = 0; i < out->count; ++i) {
    if (!take_entry(lut->entries[i], i, out)) {
      return refuse_palette(image, "the lookup table's values need more than 8 bits");
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

int32_t report_and_keep(Writer& writer, const char* reason) {
  orb__report(ORB_MSG_CANNOT_WRITE, writer.codec.path, reason);
  return writer.failure = ORB_E_WRITE;
}

int32_t report_missing(Writer& writer) {
  char text[96];
  const int64_t height = height_of(writer.window);
  const int64_t missing = writer.next_line - writer.window.bottom + 1;
  std::snprintf(text, sizeof text, "closed when %lld of %lld scanlines were written",
                static_cast<long long>(height - missing), static_cast<long long>(height));
  return report_and_keep(writer, text);
}

// A file that does not hold all rows gets no end mark, so that it is not taken for whole.
int32_t finish(Writer& writer) {
  if (writer.failure != 0) return writer.failure;
  if (writer.next_line >= writer.window.bottom) return report_missing(writer);
  Codec& codec = writer.codec;
  if (!guarded(codec, [&codec] { png_write_end(codec.png, nullptr); })) return report_failure(codec, kNoLine);
  const int error = finish_writing(codec);
  return error == 0 ? 0 : report_and_keep(writer, std::strerror(error));
}

int32_t close_writer(ORB_IMAGE* image) {
  Writer& writer = *static_cast<Writer*>(image->driver->data);
  const int32_t code = finish(writer);
  release_writer(writer);
  orb__free_obj(image);
  return code == 0 ? 0 : fail(code);
}

bool attach(ORB_IMAGE& image, WriterOwner& writer) {
  owned<ORB_DRIVER_BLOCK> block = make_zeroed<ORB_DRIVER_BLOCK>(1);
  if (!block) {
    set_error(ORB_E_MEMORY);
    return false;
  }
  image.scan = write_scan;
  image.close = close_writer;
  block->data = writer.release();
  image.driver = block.release();
  return true;
}

bool make_row(Writer& writer) {
  if (writer.takes_rows_as_they_come()) return true;
  writer.packed = static_cast<uint8_t*>(allocate(writer.layout.row_bytes(writer.width)));
  if (!writer.packed) set_error(ORB_E_MEMORY);
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
  if (image.info.image_count != 1) return refuse();
  WriterOwner writer(make_zeroed<Writer>(1).release());
  if (!writer) {
    set_error(ORB_E_MEMORY);
    return false;
  }
  ORB_IFD& ifd = image.info.images[0];
  if (!choose_layout(ifd, &writer->layout)) return false;
  if (!is_storable(ifd.window)) return refuse();
  writer->window = ifd.window;
  writer->width = static_cast<uint32_t>(width_of(ifd.window));
  writer->next_line = ifd.window.top;
  PaletteChunks palette = {};
  if (writer->layout.has_indices && !take_palette(image, writer->layout, &palette)) return false;
  writer->palette_count = static_cast<uint32_t>(palette.count);
  if (!is_within_limits(*writer) || !make_row(*writer)) return false;
  describe(image.info, *writer);
  Codec& codec = writer->codec;
  return open_for_writing(image, codec) && start(codec) && put_header(*writer, settings, palette) &&
         put_metadata(codec, image) && put_texts(codec, image, writer->layout) && write_header(codec) &&
         attach(image, writer);
}

void release_writer(Writer& writer) {
  release(writer.codec);
  ERR_free(writer.packed);
}

}  // namespace orb::png
