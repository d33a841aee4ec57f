// Opening an OpenEXR file for writing and closing it. All that can be refused is refused before the file is
// touched.
#include "write.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "metadata.h"
#include "orbbase/driver.h"
#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "plugins/common/reports.h"

namespace orb::exr {
namespace {

constexpr const char* kCall = "Opening an OpenEXR file for writing";

// What the writer holds beside its parts' array and the open file.
void release_buffers(Writer& writer) {
  end_pipeline(writer);
  end_codec(writer.codec);
  ERR_free(writer.band);
  for (int32_t i = 0; i < writer.part_count; ++i) {
    ERR_free(writer.parts[i].part.planes);
    for (char* names : writer.parts[i].names) ERR_free(names);
  }
}

// For an open that failed.
void release_writer(Writer& writer) {
  release_buffers(writer);
  plugin::release(writer.codec.file.stream);
  plugin::remove_created(writer.codec.file.stream);
}

using WriterOwner = plugin::RecordOwner<Writer, release_writer>;

int32_t report_missing(const Writer& writer) {
  int64_t height = 0;
  int64_t written = 0;
  for (int32_t i = 0; i < writer.part_count; ++i) {
    height += plugin::height_of(writer.parts[i].part.place.active);
    written += writer.parts[i].lines_written;
  }
  if (written == height) return 0;
  return plugin::report_missing_rows(writer.codec.file.stream.path, height, height - written);
}

// Halves were asked for, and with them their precision; a sample without bounds is more than that.
void remark_on_overflows(Writer& writer) {
  if (writer.overflow_count == 0) return;
  char text[128];
  std::snprintf(text, sizeof text, "%llu samples are beyond what a half holds and are stored as infinite",
                static_cast<unsigned long long>(writer.overflow_count));
  warn(writer.codec, text);
}

int32_t finish(Writer& writer) {
  if (writer.failure != 0) return writer.failure;
  const int32_t missing = report_missing(writer);
  if (missing != 0) return missing;
  remark_on_overflows(writer);
  end_pipeline(writer);
  forget_errors(writer.codec);
  const exr_result_t result = end_codec(writer.codec);
  return result == EXR_ERR_SUCCESS ? 0 : report_failure(writer.codec, result, kNoLine);
}

int32_t close_writer(ORB_IMAGE* image) {
  Writer* writer = static_cast<WritePart*>(image->driver->data)->writer;
  int32_t code = finish(*writer);
  release_buffers(*writer);
  if (code == 0) {
    code = plugin::finish_and_report(writer->codec.file.stream);
  } else {
    plugin::release(writer->codec.file.stream);
  }
  ERR_free(writer);
  orb__free_obj(image);
  return code == 0 ? 0 : fail(code);
}

bool make_band(Writer& writer) {
  uint64_t band_bytes = 0;
  for (int32_t i = 0; i < writer.part_count; ++i) {
    band_bytes = std::max(band_bytes, writer.parts[i].part.band.bytes());
  }
  writer.band = make_zeroed<uint8_t>(band_bytes).release();
  return writer.band != nullptr;
}

bool attach(ORB_IMAGE& image, WriterOwner& writer, owned<WritePart>& parts) {
  owned<ORB_DRIVER_BLOCK> slots = make_zeroed<ORB_DRIVER_BLOCK>(static_cast<uint64_t>(writer->part_count));
  if (!slots) return false;
  for (int32_t i = 0; i < writer->part_count; ++i) slots.get()[i].data = &parts.get()[i];
  parts.release();
  writer.release();
  image.driver = slots.release();
  image.scan = write_scan;
  image.close = close_writer;
  return true;
}

bool check_compression(const ORB_IMAGE& image, Compression compression) {
  const char* reason = reason_against(static_cast<exr_compression_t>(compression));
  return !reason || plugin::refuse(ORB_MSG_CANNOT_WRITE, image.info.handle, reason);
}

bool check_count(int32_t count) {
  if (count < 1) return plugin::refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  return orb__within_limit(ORB_LIMIT_IMAGES, static_cast<uint64_t>(count), kCall) != 0;
}

bool settle(ORB_IMAGE& image, Writer& writer) {
  if (!lay_out_parts(image, writer)) return false;
  if (is_lossy(writer)) image.info.word_e |= ORB_LOSSY_SAMPLES;
  return settle_metadata(writer.codec, image, writer.settings.compression) && make_band(writer);
}

}  // namespace

bool write_open(ORB_IMAGE& image) {
  Settings settings;
  const int32_t count = image.info.image_count;
  if (!read_settings(image.info, &settings) || !check_count(count) ||
      !check_compression(image, settings.compression)) {
    return false;
  }
  owned<WritePart> parts = make_zeroed<WritePart>(static_cast<uint64_t>(count));
  WriterOwner writer = plugin::make_record<WriterOwner>();
  if (!parts || !writer) return false;
  writer->codec.file.stream.path = image.info.handle;
  writer->settings = settings;
  writer->parts = parts.get();
  writer->part_count = count;
  return settle(image, *writer) && open_for_writing(image, writer->codec.file) &&
         start_writing(writer->codec) && write_header(image, *writer) && attach(image, writer, parts);
}

}  // namespace orb::exr
