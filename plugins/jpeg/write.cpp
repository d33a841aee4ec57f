// All that can be refused is refused before the file is touched.
#include "write.h"

#include <cstring>
#include <optional>

#include "aspect.h"
#include "markers.h"
#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "plugins/common/planes.h"
#include "settings.h"

namespace orb::jpeg {
namespace {

using plugin::make_zeroed;
using plugin::owned;

// The record of an open file. One flat block: the handle's release frees it, release_writer what it points to.
struct Writer {
  Encoder encoder;
  int32_t width;
  int32_t height;
  int32_t channels;
  uint8_t* packed;    // one row as the codec takes it; null when that is the application's own
  int64_t next_line;  // the one to come; below 0 when all are there
  int32_t failure;    // code of an earlier failure: the codec can go no further
};

void release_writer(Writer& writer) {
  release(writer.encoder);
  ERR_free(writer.packed);
}

// For an open that failed.
void undo(Writer& writer) {
  release_writer(writer);
  plugin::remove_created(writer.encoder.stream);
}
using WriterOwner = plugin::RecordOwner<Writer, undo>;

// ---- What a JPEG can hold ----

bool refuse(int32_t message) { return plugin::refuse(message, kKey); }

bool is_storable(const ORB_IFD& ifd) {
  const bool has_colours = ifd.color.count == 1 || ifd.color.count == 3 || ifd.color.count == 4;
  if (!has_colours) return refuse(ORB_MSG_CANNOT_HANDLE);
  if (ifd.matte.count != 0) return refuse(ORB_MSG_MATTE_TYPE);
  if (ifd.aux.count != 0) return refuse(ORB_MSG_AUX_TYPE);
  if (ifd.color.type != ORB_C_INTEGER) return refuse(ORB_MSG_IMAGE_TYPE);
  return ifd.color.width == 8 || refuse(ORB_MSG_IMAGE_WIDTH);
}

bool take_size(const ORB_IMAGE& image, Writer& writer) {
  const ORB_WINDOW& window = image.info.images[0].window;
  const int64_t width = plugin::width_of(window);
  const int64_t height = plugin::height_of(window);
  if (width < 1 || height < 1) return refuse(ORB_MSG_CANNOT_HANDLE);
  if (width > JPEG_MAX_DIMENSION || height > JPEG_MAX_DIMENSION) {
    return plugin::refuse(ORB_MSG_CANNOT_WRITE, image.info.handle, "a JPEG's sides are at most 65500 pixels");
  }
  writer.width = static_cast<int32_t>(width);
  writer.height = static_cast<int32_t>(height);
  writer.channels = image.info.images[0].color.count;
  writer.next_line = height - 1;
  return true;
}

// ---- The description ----

std::optional<Densities> keep_aspect(plugin::Stream& stream, ORB_INFO& info) {
  if (!plugin::is_declared(info, ORB_ASSUMED_PIXEL_ASPECT)) return std::nullopt;
  const std::optional<Densities> densities = densities_of(info.images[0].pixel_aspect);
  if (densities) {
    info.images[0].pixel_aspect = aspect_of(*densities);
  } else {
    plugin::warn(stream, "the pixel aspect ratio cannot be stored");
    plugin::drop_pixel_aspect(info);
  }
  return densities;
}

// From here on the handle's description says what the file will hold, and that samples change unless the
// application has chosen by how much.
std::optional<Densities> describe(ORB_INFO& info, Writer& writer, const Settings& settings) {
  plugin::Stream& stream = writer.encoder.stream;
  // The densities stand in a header that knows grey and colours, but no inks.
  const uint32_t aspect = writer.channels == 4 ? plugin::kKeepsNothing : plugin::kKeepsPixelAspect;
  plugin::keep_only(info, plugin::kKeepsDescription | aspect);
  if (info.text3 && std::strlen(info.text3) > kMostMarkerBytes) {
    plugin::warn(stream, "a description of more than 65533 bytes cannot be stored");
    plugin::drop_description(info);
  }
  if (!settings.has_quality) info.word_e |= ORB_LOSSY_SAMPLES;
  return keep_aspect(stream, info);
}

// ---- The header ----

J_COLOR_SPACE colours_of(int32_t channels) {
  if (channels == 4) return JCS_CMYK;
  return channels == 3 ? JCS_RGB : JCS_GRAYSCALE;
}

// Calls into the codec library: a step of guarded().
void choose_parameters(const Writer& writer, jpeg_compress_struct& cinfo, const Settings& settings) {
  cinfo.image_width = static_cast<JDIMENSION>(writer.width);
  cinfo.image_height = static_cast<JDIMENSION>(writer.height);
  cinfo.input_components = writer.channels;
  cinfo.in_color_space = colours_of(writer.channels);
  jpeg_set_defaults(&cinfo);
  jpeg_set_quality(&cinfo, settings.quality, TRUE);
  if (writer.channels != 3) return;
  cinfo.comp_info[0].h_samp_factor = settings.subsampling == Subsampling::none ? 1 : 2;
  cinfo.comp_info[0].v_samp_factor = settings.subsampling == Subsampling::both ? 2 : 1;
}

bool write_header(Writer& writer, const ORB_INFO& info, const Settings& settings,
                  const std::optional<Densities>& densities) {
  Encoder& encoder = writer.encoder;
  const char* comment = info.text3;
  const bool is_written =
      start(encoder) && guarded(encoder, [&writer, &encoder, &settings, &densities, comment] {
        jpeg_compress_struct& cinfo = encoder.cinfo;
        choose_parameters(writer, cinfo, settings);
        if (densities) {
          cinfo.X_density = densities->across;
          cinfo.Y_density = densities->down;
        }
        jpeg_start_compress(&cinfo, TRUE);
        if (!comment) return;
        jpeg_write_marker(&cinfo, JPEG_COM, reinterpret_cast<const JOCTET*>(comment),
                          static_cast<unsigned int>(std::strlen(comment)));
      });
  if (!is_written) report_failure(encoder, kNoLine);
  return is_written;
}

// ---- Rows ----

// The codec's rows are not const, but it only reads them.
uint8_t* packed_row(const Writer& writer, void* const* rows) {
  if (!writer.packed) return static_cast<uint8_t*>(rows[0]);
  const auto channels = static_cast<size_t>(writer.channels);
  const auto pixels = static_cast<size_t>(writer.width);
  if (channels == 4) {
    // The codec library marks four inks as stored the other way round.
    const auto invert = [](uint8_t sample) { return static_cast<uint8_t>(255 - sample); };
    plugin::merge_pixels(rows, channels, pixels, writer.packed, invert);
  } else {
    plugin::merge_pixels(rows, channels, pixels, writer.packed, [](uint8_t sample) { return sample; });
  }
  return writer.packed;
}

int32_t write_scan(void* data, int32_t line, void* rows) {
  Writer& writer = *static_cast<Writer*>(data);
  if (writer.failure != 0) return plugin::fail(writer.failure);
  if (line != writer.next_line || line < 0) {
    return plugin::refuse_line(line);
  }
  JSAMPROW row = packed_row(writer, static_cast<void* const*>(rows));
  Encoder& encoder = writer.encoder;
  const bool is_written = guarded(encoder, [&encoder, row] {
    JSAMPROW row_list[1] = {row};
    if (jpeg_write_scanlines(&encoder.cinfo, row_list, 1) != 1) give_up(encoder, "the codec takes no row");
  });
  if (!is_written) return writer.failure = report_failure(encoder, line);
  --writer.next_line;
  return 0;
}

// ---- The handle ----

// A file that does not hold all rows gets no end mark, so that it is not taken for whole.
int32_t finish(Writer& writer) {
  if (writer.failure != 0) return writer.failure;
  Encoder& encoder = writer.encoder;
  if (writer.next_line >= 0) {
    return plugin::report_missing_rows(encoder.stream.path, writer.height, writer.next_line + 1);
  }
  if (!guarded(encoder, [&encoder] { jpeg_finish_compress(&encoder.cinfo); })) {
    return report_failure(encoder, kNoLine);
  }
  return plugin::finish_and_report(encoder.stream);
}

bool make_row(Writer& writer) {
  if (writer.channels == 1) return true;
  writer.packed = static_cast<uint8_t*>(
      plugin::allocate(static_cast<uint64_t>(writer.width) * static_cast<uint64_t>(writer.channels)));
  return writer.packed != nullptr;
}

}  // namespace

bool write_open(ORB_IMAGE& image) {
  Settings settings;
  if (!read_settings(image.info, &settings)) return false;
  if (image.info.image_count != 1) return refuse(ORB_MSG_CANNOT_HANDLE);
  auto writer = plugin::make_record<WriterOwner>();
  owned<ORB_DRIVER_BLOCK> block = make_zeroed<ORB_DRIVER_BLOCK>(1);
  if (!writer || !block) return false;
  if (!is_storable(image.info.images[0]) || !take_size(image, *writer) || !make_row(*writer)) return false;
  writer->encoder.stream.path = image.info.handle;
  const std::optional<Densities> densities = describe(image.info, *writer, settings);
  if (!plugin::open_for_writing(image, kExtension, writer->encoder.stream)) return false;
  if (!write_header(*writer, image.info, settings, densities)) return false;
  plugin::attach(image, block, writer, write_scan, plugin::close_writer<Writer, finish, release_writer>);
  return true;
}

}  // namespace orb::jpeg
