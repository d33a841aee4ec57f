// Opening a PNG for reading: the header becomes the description, and limits are held against it before any
// memory for rows is taken.
#include "read.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>

#include "metadata.h"
#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "plugins/common/palette.h"
#include "settings.h"
#include "texts.h"
#include "unkept.h"

namespace orb::png {
namespace {

constexpr const char* kCall = "Opening a PNG for reading";

constexpr size_t kSignatureBytes = 8;

using ReaderOwner = plugin::RecordOwner<Reader, release_reader>;

bool has_signature(const uint8_t* bytes) { return png_sig_cmp(bytes, 0, kSignatureBytes) == 0; }

bool read_signature(Codec& codec) {
  png_byte bytes[kSignatureBytes] = {};
  errno = 0;
  const size_t got = std::fread(bytes, 1, sizeof bytes, codec.stream.file);
  if (got < sizeof bytes && std::ferror(codec.stream.file)) {
    codec.io_error = errno ? errno : EIO;
    report_failure(codec, kNoLine);
    return false;
  }
  if (got == sizeof bytes && has_signature(bytes)) return true;
  return plugin::refuse_beginning(codec.stream.path, "PNG", "PNG signature", got, sizeof bytes);
}

// What the file's header says of its pixels.
struct Header {
  png_uint_32 width;
  png_uint_32 height;
  int depth;
  int color_type;
  int interlace;
};

bool read_header(Codec& codec, Header* out) {
  if (!start_reading(codec)) return false;
  codec.counts_metadata = true;
  const bool is_read = guarded(codec, [&codec, out] {
    png_set_sig_bytes(codec.png, kSignatureBytes);
    watch_unkept_chunks(codec);
    png_read_info(codec.png, codec.info);
    png_get_IHDR(codec.png, codec.info, &out->width, &out->height, &out->depth, &out->color_type,
                 &out->interlace, nullptr, nullptr);
  });
  codec.counts_metadata = false;
  // The codec library goes on without a text that it had no memory for; a description must not.
  return is_read && !codec.is_out_of_memory && !codec.is_over_budget;
}

void take_palette(Reader& reader) {
  png_colorp colours = nullptr;
  int count = 0;
  png_bytep alphas = nullptr;
  int alpha_count = 0;
  png_get_PLTE(reader.codec.png, reader.codec.info, &colours, &count);
  png_get_tRNS(reader.codec.png, reader.codec.info, &alphas, &alpha_count, nullptr);
  PaletteTables& palette = reader.palette;
  palette.count = std::clamp(count, 0, 256);
  std::fill_n(palette.rgba[3], 256, uint8_t{255});
  for (int i = 0; i < palette.count; ++i) {
    palette.rgba[0][i] = colours[i].red;
    palette.rgba[1][i] = colours[i].green;
    palette.rgba[2][i] = colours[i].blue;
    if (alphas && i < alpha_count) palette.rgba[3][i] = alphas[i];
  }
}

bool has_transparency(const Codec& codec) { return png_get_valid(codec.png, codec.info, PNG_INFO_tRNS) != 0; }

Layout palette_layout(const Reader& reader, int depth, Palette wanted) {
  if (wanted == Palette::indices) return {0, 0, true, depth, depth, PNG_COLOR_TYPE_PALETTE, 1};
  return {3, has_transparency(reader.codec) ? 1 : 0, false, 8, 8, PNG_COLOR_TYPE_PALETTE, 1};
}

void take_key(Reader& reader) {
  png_color_16p colour = nullptr;
  png_get_tRNS(reader.codec.png, reader.codec.info, nullptr, nullptr, &colour);
  if (!colour) return;
  reader.has_key = true;
  const bool is_grey = reader.layout.colours == 1;
  reader.key[0] = is_grey ? colour->gray : colour->red;
  reader.key[1] = colour->green;
  reader.key[2] = colour->blue;
}

// A width in a text holds only where the sBIT chunk agrees and the file's depth is the one it needs.
int32_t declared_width(Codec& codec, const Header& header, int32_t file_samples, int32_t width_text) {
  png_color_8p bits = nullptr;
  png_get_sBIT(codec.png, codec.info, &bits);
  const bool is_palette = header.color_type == PNG_COLOR_TYPE_PALETTE;
  if (bits && !is_palette && width_text != 0 && width_text < header.depth &&
      depth_for(width_text, file_samples) == header.depth) {
    const bool is_colour = (header.color_type & PNG_COLOR_MASK_COLOR) != 0;
    const bool has_alpha = (header.color_type & PNG_COLOR_MASK_ALPHA) != 0;
    const bool colours_agree =
        is_colour ? bits->red == width_text && bits->green == width_text && bits->blue == width_text
                  : bits->gray == width_text;
    if (colours_agree && (!has_alpha || bits->alpha == width_text)) return width_text;
  }
  if (bits)
    plugin::note(codec.stream,
                 "sBIT: the number of significant bits is not kept; samples are read as stored");
  if (width_text != 0)
    plugin::note(codec.stream, "the text \"orbbase:width\" does not fit the file and is not followed");
  return header.depth;
}

void choose_read_layout(Reader& reader, const Header& header, const Settings& settings, int32_t width_text) {
  const int32_t file_samples = png_get_channels(reader.codec.png, reader.codec.info);
  const int32_t width = declared_width(reader.codec, header, file_samples, width_text);
  reader.is_palette = header.color_type == PNG_COLOR_TYPE_PALETTE;
  if (reader.is_palette) {
    take_palette(reader);
    reader.layout = palette_layout(reader, header.depth, settings.palette);
    return;
  }
  const int32_t colours = (header.color_type & PNG_COLOR_MASK_COLOR) != 0 ? 3 : 1;
  reader.layout = {colours,      file_samples - colours, false,       width,
                   header.depth, header.color_type,      file_samples};
  take_key(reader);
  if (reader.has_key) reader.layout.mattes = 1;
}

void describe(ORB_IFD& ifd, const Reader& reader) {
  const Layout& layout = reader.layout;
  ifd.window = ifd.active_window = reader.window;
  ifd.color.count = layout.colours;
  ifd.color.width = layout.colours != 0 ? layout.width : 8;
  ifd.matte.count = layout.mattes;
  ifd.matte.width = layout.mattes != 0 ? layout.width : 8;
  ifd.index.count = layout.has_indices ? 1 : 0;
  if (layout.has_indices) ifd.index.width = layout.width;
}

// The block of the rows given out: index rows have two bytes a sample.
uint64_t given_bytes(const Layout& layout, uint64_t pixels) {
  if (layout.has_indices) return pixels * 2;
  const uint64_t row_bytes = plugin::given_row_bytes(pixels, static_cast<uint64_t>(layout.sample_bytes()));
  return row_bytes * static_cast<uint64_t>(layout.colours + layout.mattes);
}

bool is_within_limits(const Reader& reader) {
  const uint64_t given = given_bytes(reader.layout, reader.width);
  const uint64_t codec_row = reader.layout.row_bytes(reader.width);
  if (orb__within_limit(ORB_LIMIT_BUFFER, std::max(given, codec_row), kCall) == 0) return false;
  // The codec library keeps two rows of its own.
  uint64_t together = given + 3 * codec_row;
  if (reader.is_interlaced) together += (codec_row + sizeof(uint8_t*)) * reader.height;
  return orb__within_limit(ORB_LIMIT_HANDLE, together, kCall) != 0;
}

void note_interlaced(Reader& reader) {
  char text[128];
  const double mebibytes =
      static_cast<double>(reader.layout.row_bytes(reader.width)) * reader.height / (1 << 20);
  std::snprintf(text, sizeof text, "interlaced: the whole picture is held in memory, %.0f MiB",
                mebibytes + 0.5);
  plugin::note(reader.codec.stream, text);
}

bool make_rows(Reader& reader, ORB_IFD& ifd) {
  reader.rows = ORB_chan_alloc(&ifd, static_cast<int32_t>(reader.width), kKey, nullptr);
  if (!reader.rows) return false;  // the code is set
  if (reader.reads_into_rows() || reader.is_interlaced) return true;
  reader.packed = static_cast<uint8_t*>(allocate(reader.layout.row_bytes(reader.width)));
  return reader.packed != nullptr;
}

// From here on the codec holds its rows. One sample a byte or two, as the machine holds them.
bool start_rows(Codec& codec, const Header& header) {
  const bool is_started = guarded(codec, [&codec, &header] {
    png_set_packing(codec.png);
    if (header.depth == 16 && std::endian::native == std::endian::little) png_set_swap(codec.png);
    png_set_interlace_handling(codec.png);
    png_read_update_info(codec.png, codec.info);
  });
  if (!is_started) report_failure(codec, kNoLine);
  return is_started;
}

int32_t read_lut(void* data, ORB_LUT** lut_out) {
  const PaletteTables& palette = static_cast<Reader*>(data)->palette;
  ORB_LUT* lut = ORB_lut_alloc(palette.count);
  if (!lut) return fail(ORB_E_MEMORY);
  for (int i = 0; i < palette.count; ++i) {
    for (int c = 0; c < 4; ++c) lut->entries[i].rgba[c] = plugin::widened(palette.rgba[c][i]);
  }
  *lut_out = lut;
  return ORB_OK;
}

bool attach(ORB_IMAGE& image, ReaderOwner& reader) {
  if (reader->layout.has_indices) image.lut_read = read_lut;
  if (reader->is_interlaced) image.seek = plugin::seek_anywhere;  // held whole
  return plugin::attach_reader(image, reader, read_scan, plugin::close_reader<Reader, release_reader>);
}

bool open_file(ORB_IMAGE& image, Codec& codec, Header* header) {
  if (!plugin::open_for_reading(image, kExtension, codec.stream) || !read_signature(codec)) return false;
  if (read_header(codec, header)) return true;
  report_failure(codec, kNoLine);
  return false;
}

}  // namespace

bool read_open(ORB_IMAGE& image) {
  Settings settings;
  if (!read_settings(image.info, &settings)) return false;
  auto reader = plugin::make_record<ReaderOwner>();
  if (!reader) return false;
  Header header = {};
  if (!open_file(image, reader->codec, &header) || !plugin::make_descriptors(image, 1)) return false;
  ORB_IFD& ifd = image.info.images[0];
  plugin::describe_size(ifd, static_cast<int32_t>(header.width), static_cast<int32_t>(header.height));
  int32_t width_text = 0;
  if (!take_texts(reader->codec, image, &width_text)) return false;
  take_metadata(reader->codec, image);
  reader->width = header.width;
  reader->height = header.height;
  reader->is_interlaced = header.interlace != PNG_INTERLACE_NONE;
  reader->window = take_window(reader->codec, header.width, header.height);
  reader->next_line = reader->window.top;
  choose_read_layout(*reader, header, settings, width_text);
  describe(ifd, *reader);
  if (!is_within_limits(*reader)) return false;
  if (reader->is_interlaced) note_interlaced(*reader);
  return make_rows(*reader, ifd) && start_rows(reader->codec, header) && attach(image, reader);
}

bool is_png(const char* name, std::FILE* stream) {
  return plugin::begins_right(name, stream, kSignatureBytes, has_signature);
}

void release_reader(Reader& reader) {
  release(reader.codec);
  ORB_chan_free(reader.rows);
  ERR_free(reader.packed);
  for (uint32_t i = 0; reader.held && i < reader.height && reader.held[i]; ++i) ERR_free(reader.held[i]);
  ERR_free(reader.held);
}

}  // namespace orb::png
