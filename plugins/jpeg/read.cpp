// Opening a JPEG for reading: the header becomes the description, and limits are held against it before any
// memory for the picture is taken.
#include "read.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "aspect.h"
#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "settings.h"

namespace orb::jpeg {
namespace {

constexpr const char* kCall = "Opening a JPEG for reading";
constexpr size_t kSignatureBytes = 3;

void release_reader(Reader& reader) {
  release(reader.decoder);
  ERR_free(reader.comments.text);
  ORB_chan_free(reader.rows);
  ERR_free(reader.packed);
}

using ReaderOwner = plugin::RecordOwner<Reader, release_reader>;

bool has_signature(const uint8_t* bytes) { return bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF; }

// ---- The header ----

// Fills the buffer for the first time and looks whether it begins like a JPEG.
bool read_signature(Decoder& decoder) {
  errno = 0;
  const size_t count = std::fread(decoder.buffer, 1, sizeof decoder.buffer, decoder.stream.file);
  if (std::ferror(decoder.stream.file)) {
    decoder.io_error = errno ? errno : EIO;
    report_failure(decoder, kNoLine);
    return false;
  }
  if (count < kSignatureBytes || !has_signature(decoder.buffer)) {
    return plugin::refuse_beginning(decoder.stream.path, "JPEG", "JPEG signature", count, kSignatureBytes);
  }
  decoder.source.next_input_byte = decoder.buffer;
  decoder.source.bytes_in_buffer = count;
  return true;
}

bool read_header(Reader& reader) {
  Decoder& decoder = reader.decoder;
  const bool is_read = start(decoder) && guarded(decoder, [&reader, &decoder] {
                         watch_markers(decoder, &reader.comments);
                         jpeg_read_header(&decoder.cinfo, TRUE);
                       });
  reader.comments.is_closed = true;
  if (!is_read) report_failure(decoder, kNoLine);
  return is_read;
}

struct Colours {
  J_COLOR_SPACE stored;
  J_COLOR_SPACE given;
  int32_t channels;
};
constexpr Colours kColours[] = {
    {JCS_GRAYSCALE, JCS_GRAYSCALE, 1}, {JCS_YCbCr, JCS_RGB, 3}, {JCS_RGB, JCS_RGB, 3},
    {JCS_CMYK, JCS_CMYK, 4},           {JCS_YCCK, JCS_CMYK, 4},
};

bool choose_colours(Reader& reader) {
  jpeg_decompress_struct& cinfo = reader.decoder.cinfo;
  for (const Colours& row : kColours) {
    if (row.stored != cinfo.jpeg_color_space) continue;
    cinfo.out_color_space = row.given;
    reader.channels = row.channels;
    // Who writes the marker of these four inks writes 255 for none.
    reader.is_inverted = row.channels == 4 && cinfo.saw_Adobe_marker;
    return true;
  }
  char text[64];
  std::snprintf(text, sizeof text, "%d components whose colours are not known", cinfo.num_components);
  return plugin::refuse(ORB_MSG_READ_PROBLEM, reader.decoder.stream.path, text);
}

void take_aspect(Reader& reader, ORB_INFO& info) {
  const jpeg_decompress_struct& cinfo = reader.decoder.cinfo;
  const Densities densities = {cinfo.X_density, cinfo.Y_density};
  const bool has_unit = cinfo.density_unit != 0;
  if (!cinfo.saw_JFIF_marker || densities.across == 0 || densities.down == 0) return;
  if (!has_unit && densities.across == 1 && densities.down == 1) return;  // says nothing
  if (has_unit) plugin::note(reader.decoder.stream, "the pixels' size is not kept, only their aspect ratio");
  info.images[0].pixel_aspect = aspect_of(densities);
  plugin::declare(info, ORB_ASSUMED_PIXEL_ASPECT);
}

void describe(Reader& reader, ORB_INFO& info) {
  ORB_IFD& ifd = info.images[0];
  plugin::describe_size(ifd, reader.width, reader.height);
  ifd.color.count = reader.channels;
  ifd.color.width = 8;
  info.text3 = reader.comments.length > 0 ? reader.comments.text : nullptr;
  if (info.text3) reader.comments.text = nullptr;
  take_aspect(reader, info);
}

// ---- Memory ----

uint64_t round_up(uint64_t value, int step) {
  const auto steps = static_cast<uint64_t>(step);
  return (value + steps - 1) / steps * steps;
}

// All coefficients, two bytes each: what a picture of several passes is held as.
uint64_t coefficient_bytes(const jpeg_decompress_struct& cinfo) {
  uint64_t blocks = 0;
  for (int i = 0; i < cinfo.num_components; ++i) {
    const jpeg_component_info& component = cinfo.comp_info[i];
    blocks += round_up(component.width_in_blocks, component.h_samp_factor) *
              round_up(component.height_in_blocks, component.v_samp_factor);
  }
  return blocks * DCTSIZE2 * sizeof(JCOEF);
}

// The samples of one row of blocks, which the codec holds before and after it brings them to full size, with
// those around it.
uint64_t strip_bytes(const jpeg_decompress_struct& cinfo) {
  const uint64_t row_bytes = round_up(cinfo.image_width, DCTSIZE * cinfo.max_h_samp_factor);
  return 3 * row_bytes * static_cast<uint64_t>(cinfo.num_components * cinfo.max_v_samp_factor * DCTSIZE);
}

bool holds_all(Decoder& decoder) {
  return decoder.cinfo.progressive_mode || jpeg_has_multiple_scans(&decoder.cinfo);
}

void note_held(Reader& reader, uint64_t held_bytes) {
  char text[128];
  std::snprintf(text, sizeof text, "stored in several passes: the whole picture is held in memory, %.0f MiB",
                static_cast<double>(held_bytes) / (1 << 20) + 0.5);
  plugin::note(reader.decoder.stream, text);
}

bool is_within_limits(Reader& reader) {
  jpeg_decompress_struct& cinfo = reader.decoder.cinfo;
  const uint64_t row_bytes = plugin::given_row_bytes(static_cast<uint64_t>(reader.width), 1);
  const uint64_t given = row_bytes * static_cast<uint64_t>(reader.channels);
  const uint64_t held = holds_all(reader.decoder) ? coefficient_bytes(cinfo) : 0;
  const uint64_t together = 2 * given + strip_bytes(cinfo) + held;
  if (orb__within_limit(ORB_LIMIT_BUFFER, given, kCall) == 0 ||
      orb__within_limit(ORB_LIMIT_HANDLE, together, kCall) == 0) {
    return false;
  }
  // Instead of what an environment variable says; the codec refuses to hold more.
  cinfo.mem->max_memory_to_use =
      static_cast<long>(std::min<uint64_t>(ORB_limit(ORB_LIMIT_HANDLE, 0) - 2 * given, INT64_MAX));
  if (held > 0) note_held(reader, held);
  return true;
}

bool make_rows(Reader& reader, ORB_IFD& ifd) {
  reader.rows = ORB_chan_alloc(&ifd, reader.width, kKey, nullptr);
  if (!reader.rows) return false;
  if (reader.channels == 1) return true;
  reader.packed = static_cast<uint8_t*>(
      plugin::allocate(static_cast<uint64_t>(reader.width) * static_cast<uint64_t>(reader.channels)));
  return reader.packed != nullptr;
}

}  // namespace

bool read_open(ORB_IMAGE& image) {
  Settings settings;
  if (!read_settings(image.info, &settings)) return false;
  auto reader = plugin::make_record<ReaderOwner>();
  if (!reader || !plugin::open_for_reading(image, kExtension, reader->decoder.stream)) return false;
  if (!read_signature(reader->decoder) || !read_header(*reader) || !choose_colours(*reader)) return false;
  reader->width = static_cast<int32_t>(reader->decoder.cinfo.image_width);
  reader->height = static_cast<int32_t>(reader->decoder.cinfo.image_height);
  reader->next_line = reader->height - 1;
  if (!plugin::make_descriptors(image, 1)) return false;
  describe(*reader, image.info);
  return is_within_limits(*reader) && make_rows(*reader, image.info.images[0]) &&
         plugin::attach_reader(image, reader, read_scan, plugin::close_reader<Reader, release_reader>);
}

bool is_jpeg(const char* name, std::FILE* stream) {
  return plugin::begins_right(name, stream, kSignatureBytes, has_signature);
}

}  // namespace orb::jpeg
