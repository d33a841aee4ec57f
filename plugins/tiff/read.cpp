// Opening a TIFF for reading: every page's directory becomes a descriptor, and limits are held against it
// before any memory for rows is taken.
#include "read.h"

#include <algorithm>

#include "metadata.h"
#include "orbbase/driver.h"
#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "settings.h"

namespace orb::tiff {
namespace {

constexpr const char* kCall = "Opening a TIFF for reading";

void release_reader(Reader& reader) {
  release_current(reader);
  end_codec(reader.codec);
  close_file(reader.codec.file);
}
using ReaderOwner = plugin::RecordOwner<Reader, release_reader>;

ReaderOwner make_reader() {
  auto reader = plugin::make_record<ReaderOwner>();
  if (!reader) return nullptr;
  reader->current.index = -1;
  return reader;
}

// ---- The list of pages, as long as it comes to be ----

struct PageList {
  owned<ReadPage> pages;
  uint32_t count = 0;
  uint32_t capacity = 0;
};

// Memory doubles with what the file has been seen to hold.
ReadPage* add_page(PageList& list) {
  if (list.count == list.capacity) {
    const uint32_t capacity = list.capacity == 0 ? 1 : 2 * list.capacity;
    owned<ReadPage> grown = make_zeroed<ReadPage>(capacity);
    if (!grown) return nullptr;
    std::copy_n(list.pages.get(), list.count, grown.get());
    list.pages = std::move(grown);
    list.capacity = capacity;
  }
  return &list.pages.get()[list.count++];
}

bool next_directory(Codec& codec) {
  forget_errors(codec);
  const auto read = [&codec] { return TIFFReadDirectory(codec.tiff) == 1; };
  if (guarded(codec, read) && !has_error(codec)) return true;
  report_failure(codec, kNoLine);
  return false;
}

bool take_colour_width(Codec& codec, Page& page) {
  if (page.shape.photometric != PHOTOMETRIC_PALETTE) return true;
  Palette16 palette = {};
  if (!take_palette(codec, page, &palette)) return false;
  ERR_free(palette.entries[0]);
  if (!page.channels.has_indices) page.channels.colour_width = palette.is_8_bit ? 8 : 16;
  return true;
}

// A chain of directories that ends in damage, or that bites its own tail, is refused whole: the pages behind
// the damage are not known.
bool list_pages(Codec& codec, const Settings& settings, PageList& list) {
  do {
    if (orb__within_limit(ORB_LIMIT_IMAGES, uint64_t{list.count} + 1, kCall) == 0) return false;
    codec.page = list.count > 0 ? static_cast<int32_t>(list.count) + 1 : 0;
    ReadPage* read = add_page(list);
    if (!read || !next_directory(codec)) return false;
    if (!take_page(codec, settings, &read->page) || !take_colour_width(codec, read->page)) return false;
    read->index = static_cast<int32_t>(list.count) - 1;
    if (settings.pages == Pages::first) break;
  } while (TIFFLastDirectory(codec.tiff) == 0);
  if (TIFFLastDirectory(codec.tiff) == 0) note(codec, "only the first page is read");
  return true;
}

// ---- The description ----

void describe(const Page& page, ORB_IFD& ifd) {
  const Channels& channels = page.channels;
  plugin::describe_size(ifd, static_cast<int32_t>(page.shape.width), static_cast<int32_t>(page.shape.height));
  ifd.orientation = page.is_upward ? ORB_BOTTOM_UP : 0;
  const auto set = [](ORB_CHANNELS& group, int32_t count, uint32_t type, int32_t bits) {
    group.count = count;
    if (count > 0) group = {group.name, count, type, bits};
  };
  set(ifd.color, channels.colours, channels.type, channels.colour_width);
  set(ifd.matte, channels.mattes, channels.type, channels.width);
  set(ifd.aux, channels.aux, channels.type, channels.width);
  set(ifd.index, channels.has_indices ? 1 : 0, ORB_C_INTEGER, channels.width);
}

bool make_descriptors(ORB_IMAGE& image, const PageList& list) {
  image.info.images = make_zeroed<ORB_IFD>(list.count).release();
  if (!image.info.images) return false;
  image.info.image_count = static_cast<int32_t>(list.count);
  orb__init_ifd(&image);
  for (uint32_t i = 0; i < list.count; ++i) describe(list.pages.get()[i].page, image.info.images[i]);
  return true;
}

// Goes through the pages once more for what stands beside the pictures.
bool take_all_metadata(Codec& codec, ORB_IMAGE& image, PageList& list) {
  for (uint32_t i = 0; i < list.count; ++i) {
    ReadPage& read = list.pages.get()[i];
    codec.page = list.count > 1 ? static_cast<int32_t>(i) + 1 : 0;
    if (!go_to(codec, read.page)) return false;
    if (!take_metadata(codec, image, static_cast<int32_t>(i), read.page)) return false;
    read.ifd = image.info.images[i];
    read.ifd.active_window = image.info.images[i].active_window = read.ifd.window;
  }
  codec.page = 0;
  return true;
}

// ---- The handle ----

int32_t close_reader(ORB_IMAGE* image) {
  ReaderOwner(plugin::record_of<ReadPage>(*image).reader).reset();
  orb__free_obj(image);
  return 0;
}

bool attach(ORB_IMAGE& image, ReaderOwner& reader, PageList& list) {
  owned<ORB_DRIVER_BLOCK> slots = make_zeroed<ORB_DRIVER_BLOCK>(list.count);
  if (!slots) return false;
  ReadPage* pages = list.pages.release();
  for (uint32_t i = 0; i < list.count; ++i) {
    pages[i].reader = reader.get();
    slots.get()[i].data = &pages[i];
    if (pages[i].page.channels.has_indices) image.lut_read = read_lut;
  }
  reader.release();
  image.driver = slots.release();
  image.scan = read_scan;
  image.close = close_reader;
  return true;
}

bool open_file(ORB_IMAGE& image, Codec& codec) {
  if (!open_for_reading(image, codec.file) || !check_signature(codec.file)) return false;
  if (start_reading(codec)) return true;
  report_failure(codec, kNoLine);
  return false;
}

}  // namespace

bool read_open(ORB_IMAGE& image) {
  Settings settings;
  if (!read_settings(image.info, &settings)) return false;
  ReaderOwner reader = make_reader();
  if (!reader || !open_file(image, reader->codec)) return false;
  PageList list;
  return list_pages(reader->codec, settings, list) && make_descriptors(image, list) &&
         take_all_metadata(reader->codec, image, list) && attach(image, reader, list);
}

}  // namespace orb::tiff
