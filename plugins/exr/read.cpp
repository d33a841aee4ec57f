// Opening an OpenEXR file for reading: every part's header becomes a descriptor, and limits are held against it
// before any memory for rows is taken.
#include "read.h"

#include "metadata.h"
#include "orbbase/driver.h"
#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "settings.h"

namespace orb::exr {
namespace {

constexpr const char* kCall = "Opening an OpenEXR file for reading";

void release_reader(Reader& reader) {
  release_current(reader);
  for (int32_t i = 0; i < reader.part_count; ++i) ERR_free(reader.parts[i].part.planes);
  end_codec(reader.codec);
  plugin::release(reader.codec.file.stream);
}

using ReaderOwner = plugin::RecordOwner<Reader, release_reader>;

bool open_file(ORB_IMAGE& image, Codec& codec) {
  return open_for_reading(image, codec.file) && check_signature(codec.file) && start_reading(codec);
}

bool count_parts(Codec& codec, int32_t& count_out) {
  int count = 0;
  const exr_result_t result = exr_get_count(codec.context, &count);
  if (result != EXR_ERR_SUCCESS || count < 1) {
    report_failure(codec, result, kNoLine);
    return false;
  }
  count_out = count;
  return orb__within_limit(ORB_LIMIT_IMAGES, static_cast<uint64_t>(count), kCall) != 0;
}

// The display window of all parts is the first one's. Where samples reach beyond it, the picture that is to be
// shown has its place in the two words.
void describe_picture(const Place& place, ORB_INFO& info) {
  if (is_same(place.picture, place.window) || !lies_within(place.picture, place.window)) return;
  info.words[0] = place.picture.left;
  info.words[1] = place.picture.bottom;
}

bool take_parts(Reader& reader, ORB_IMAGE& image) {
  for (int32_t i = 0; i < reader.part_count; ++i) {
    ReadPart& read = reader.parts[i];
    read.reader = &reader;
    read.index = i;
    reader.codec.part = reader.part_count > 1 ? i + 1 : 0;
    ORB_IFD& ifd = image.info.images[i];
    if (!take_part(reader.codec, i, read.part, ifd) || !take_metadata(reader.codec, image, i)) return false;
    read.ifd = ifd;
  }
  reader.codec.part = 0;
  describe_picture(reader.parts->part.place, image.info);
  return true;
}

// ---- The handle ----

int32_t close_reader(ORB_IMAGE* image) {
  ReaderOwner(static_cast<ReadPart*>(image->driver->data)->reader).reset();
  orb__free_obj(image);
  return ORB_OK;
}

bool attach(ORB_IMAGE& image, ReaderOwner& reader, owned<ReadPart>& parts) {
  owned<ORB_DRIVER_BLOCK> slots = make_zeroed<ORB_DRIVER_BLOCK>(static_cast<uint64_t>(reader->part_count));
  if (!slots) return false;
  for (int32_t i = 0; i < reader->part_count; ++i) slots.get()[i].data = &parts.get()[i];
  parts.release();
  reader.release();
  image.driver = slots.release();
  image.scan = read_scan;
  image.close = close_reader;
  return true;
}

}  // namespace

bool read_open(ORB_IMAGE& image) {
  Settings settings;
  if (!read_settings(image.info, &settings)) return false;
  owned<ReadPart> parts;  // released after the reader, which looks through them
  ReaderOwner reader = plugin::make_record<ReaderOwner>();
  if (!reader) return false;
  reader->current.index = -1;
  int32_t count = 0;
  if (!open_file(image, reader->codec) || !count_parts(reader->codec, count)) return false;
  parts = make_zeroed<ReadPart>(static_cast<uint64_t>(count));
  if (!parts || !plugin::make_descriptors(image, count)) return false;
  reader->parts = parts.get();
  reader->part_count = count;
  return take_parts(*reader, image) && attach(image, reader, parts);
}

}  // namespace orb::exr
