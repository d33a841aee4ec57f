// Opening a TIFF for writing and closing it. All that can be refused is refused before the file is touched.
#include "write.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "metadata.h"
#include "orbbase/driver.h"
#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "plugins/common/palette.h"

namespace orb::tiff {
namespace {

constexpr const char* kCall = "Opening a TIFF for writing";

void release_writer(Writer& writer) {
  end_codec(writer.codec);
  ERR_free(writer.packed);
  ERR_free(writer.palette.entries[0]);
}

// Without the offset of its first directory the file is a TIFF without a page: nobody takes it for whole. The
// codec library writes a directory even of what it has no rows for when it ends, so that comes first.
void end_as_broken(Writer& writer) {
  if (!writer.codec.tiff) return;
  const uint8_t nothing[8] = {};
  const bool is_big = TIFFIsBigTIFF(writer.codec.tiff) != 0;
  end_codec(writer.codec);
  static_cast<void>(write_at(writer.codec.file, is_big ? 8 : 4, nothing, is_big ? 8 : 4));
}

// For an open that failed.
void undo(Writer& writer) {
  end_as_broken(writer);
  release_writer(writer);
  close_file(writer.codec.file);
  plugin::remove_created(writer.codec.file.stream);
}
using WriterOwner = plugin::RecordOwner<Writer, undo>;

// ---- The palette ----

bool take_palette(const ORB_IMAGE& image, int32_t bits, Writer& writer) {
  const int32_t count = 1 << bits;
  const ORB_LUT* lut = plugin::lent_table(image.info, count);
  if (!lut) return false;
  const bool is_opaque = std::all_of(lut->entries, lut->entries + lut->entry_count,
                                     [](const ORB_LUT_ENTRY& entry) { return entry.rgba[3] == UINT16_MAX; });
  if (!is_opaque)
    return plugin::refuse(ORB_MSG_CANNOT_WRITE, image.info.handle,
                          "the lookup table has an alpha, a palette has none");
  writer.palette.entries[0] = make_zeroed<uint16_t>(3 * static_cast<uint64_t>(count)).release();
  if (!writer.palette.entries[0]) return false;
  writer.palette.entries[1] = writer.palette.entries[0] + count;
  writer.palette.entries[2] = writer.palette.entries[1] + count;
  writer.palette.count = static_cast<uint32_t>(count);
  writer.palette_used = static_cast<uint32_t>(lut->entry_count);
  for (int32_t i = 0; i < lut->entry_count; ++i) {
    for (int c = 0; c < 3; ++c) writer.palette.entries[c][i] = lut->entries[i].rgba[c];
  }
  return true;
}

// The application lends one table, for all images with indices.
bool share_palette(const ORB_IMAGE& image, int32_t bits, Writer& writer) {
  if (writer.palette.count == 0) return take_palette(image, bits, writer);
  return writer.palette.count == 1U << bits ||
         plugin::refuse(ORB_MSG_CANNOT_WRITE, image.info.handle,
                        "the lookup table does not fit the indices of every image");
}

// ---- The description ----

void describe(ORB_IFD& ifd, const WriteLayout& layout, RowOrder order) {
  ifd.image_kind = 1;
  ifd.aspect_kind = 1;
  if (order == RowOrder::top_down) ifd.orientation &= ~static_cast<uint32_t>(ORB_BOTTOM_UP);
  ifd.active_window = ifd.window;
  ifd.pair_a[0] = static_cast<int32_t>(layout.width);
  ifd.pair_a[1] = static_cast<int32_t>(layout.height);
  if (ifd.color.count != 0) ifd.index.count = 0;
}

// The name of the matte group is the kind of the matte; one of the application's own is kept with the usual
// kind, which is then the one that a reader assumes of it.
bool name_matte(Writer& writer, ORB_IFD& ifd, const WriteLayout& layout) {
  if (layout.mattes != 0 && !plugin::is_given(ifd.matte.name) && writer.settings.alpha == Alpha::as_named) {
    warn(writer.codec,
         "nobody says whether the colours are multiplied by the matte; it is declared so (setting alpha)");
  }
  if (plugin::is_given(ifd.matte.name) && layout.mattes != 0 && !layout.is_separate &&
      std::strcmp(ifd.matte.name, kSeparate) != 0) {
    return true;
  }
  ERR_free(ifd.matte.name);
  ifd.matte.name = nullptr;
  if (layout.mattes == 0) return true;
  const char* kind = layout.is_separate ? kSeparate : kAssociated;
  ifd.matte.name = make_zeroed<char>(std::strlen(kind) + 1).release();
  if (!ifd.matte.name) return false;
  std::memcpy(ifd.matte.name, kind, std::strlen(kind));
  return true;
}

// A classic file ends at 4 GiB. What does not compress grows, at worst by half.
bool needs_big(const Settings& settings, uint64_t picture_bytes) {
  if (settings.container != Container::automatic) return settings.container == Container::big;
  constexpr uint64_t kClassicBytes = UINT32_MAX - (64U << 20);
  const bool grows = settings.compression != Compression::none;
  return picture_bytes > (grows ? kClassicBytes / 3 * 2 : kClassicBytes);
}

// ---- The handle ----

int32_t report_missing(Writer& writer, const WritePage& page) {
  char text[128];
  std::snprintf(text, sizeof text, "closed when %u of %u scanlines of page %d of %d were written",
                page.next_row, page.layout.height, page.index + 1, writer.image_count);
  orb__report(ORB_MSG_CANNOT_WRITE, writer.codec.file.stream.path, text);
  return writer.failure = ORB_E_WRITE;
}

int32_t finish(Writer& writer, const WritePage* pages) {
  if (writer.failure != 0) return writer.failure;
  const WritePage& last = pages[writer.current];
  const bool is_whole = writer.current == writer.image_count - 1 && last.next_row == last.layout.height;
  if (!is_whole) return report_missing(writer, last);
  return end_page(writer);
}

int32_t close_writer(ORB_IMAGE* image) {
  const auto* pages = static_cast<WritePage*>(image->driver->data);
  Writer& writer = *pages->writer;
  int32_t code = finish(writer, pages);
  if (code != 0) end_as_broken(writer);
  release_writer(writer);
  const int error = close_file(writer.codec.file);
  if (error != 0 && code == 0) {
    orb__report(ORB_MSG_CANNOT_WRITE, writer.codec.file.stream.path, std::strerror(error));
    code = ORB_E_WRITE;
  }
  ERR_free(&writer);
  orb__free_obj(image);
  return code == 0 ? 0 : fail(code);
}

bool lay_out_pages(ORB_IMAGE& image, Writer& writer, WritePage* pages, uint64_t* picture_bytes_out) {
  uint64_t row_bytes = 0;
  for (int32_t i = 0; i < writer.image_count; ++i) {
    ORB_IFD& ifd = image.info.images[i];
    WritePage& page = pages[i];
    page.index = i;
    if (!choose_layout(ifd, writer.settings, &page.layout)) return false;
    const WriteLayout& layout = page.layout;
    if (orb__within_limit(ORB_LIMIT_CHANNELS, static_cast<uint64_t>(layout.samples()), kCall) == 0)
      return false;
    // Its own row, and the codec's buffer of a strip with what it grows by.
    const uint64_t row = layout.row_bytes + kPackedPadding;
    if (orb__within_limit(ORB_LIMIT_BUFFER, row, kCall) == 0) return false;
    if (orb__within_limit(ORB_LIMIT_HANDLE, row + 2 * layout.row_bytes * layout.strip_rows, kCall) == 0)
      return false;
    row_bytes = std::max(row_bytes, row);
    *picture_bytes_out += layout.row_bytes * layout.height;
    if (layout.has_indices && !share_palette(image, layout.bits, writer)) return false;
    describe(ifd, layout, writer.settings.row_order);
    page.window = ifd.window;
    page.is_upward = (ifd.orientation & ORB_BOTTOM_UP) != 0;
  }
  writer.packed = make_zeroed<uint8_t>(row_bytes).release();
  return writer.packed != nullptr;
}

bool settle_all(ORB_IMAGE& image, Writer& writer, const WritePage* pages) {
  for (int32_t i = 0; i < writer.image_count; ++i) {
    writer.codec.page = writer.image_count > 1 ? i + 1 : 0;
    const WriteLayout& layout = pages[i].layout;
    if (!name_matte(writer, image.info.images[i], layout)) return false;
    if (!settle_metadata(writer.codec, image, i, layout.bits)) return false;
  }
  writer.codec.page = 0;
  return true;
}

bool start(Writer& writer, const WritePage& first, bool is_big) {
  if (start_writing(writer.codec, is_big) && begin_page(writer, first)) return true;
  report_failure(writer.codec, kNoLine);
  return false;
}

bool attach(ORB_IMAGE& image, WriterOwner& writer, owned<WritePage>& pages) {
  const auto count = static_cast<uint32_t>(writer->image_count);
  owned<ORB_DRIVER_BLOCK> slots = make_zeroed<ORB_DRIVER_BLOCK>(count);
  if (!slots) return false;
  WritePage* first = pages.release();
  for (uint32_t i = 0; i < count; ++i) {
    first[i].writer = writer.get();
    slots.get()[i].data = &first[i];
  }
  writer.release();
  image.driver = slots.release();
  image.scan = write_scan;
  image.close = close_writer;
  return true;
}

WriterOwner make_writer(ORB_IMAGE& image) {
  auto writer = plugin::make_record<WriterOwner>();
  if (!writer) return nullptr;
  writer->codec.file.stream.path = image.info.handle;
  writer->image = &image;
  writer->image_count = image.info.image_count;
  return writer;
}

}  // namespace

bool write_open(ORB_IMAGE& image) {
  Settings settings;
  if (!read_settings(image.info, &settings)) return false;
  if (image.info.image_count < 1) return plugin::refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  WriterOwner writer = make_writer(image);
  owned<WritePage> pages = make_zeroed<WritePage>(static_cast<uint64_t>(image.info.image_count));
  if (!writer || !pages) return false;
  writer->settings = settings;
  uint64_t picture_bytes = 0;
  if (!lay_out_pages(image, *writer, pages.get(), &picture_bytes)) return false;
  if (!settle_all(image, *writer, pages.get()) || !open_for_writing(image, writer->codec.file)) return false;
  return start(*writer, *pages, needs_big(settings, picture_bytes)) && attach(image, writer, pages);
}

}  // namespace orb::tiff
