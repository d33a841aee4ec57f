#include "page.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "plugins/common/memory.h"

namespace orb::tiff {
namespace {

constexpr const char* kCall = "Opening a TIFF for reading";
constexpr uint64_t kBandBytes = 4U << 20;         // of strips that are decoded
constexpr uint64_t kPlainBandBytes = 256U << 10;  // of strips that are read as they are
constexpr uint64_t kPlanarBandBytes = 64U << 20;  // of planes: their decoder begins anew for each

template <class T>
T field(TIFF* tiff, uint32_t tag, T otherwise) {
  T value = otherwise;
  return TIFFGetFieldDefaulted(tiff, tag, &value) != 0 ? value : otherwise;
}

Shape shape_of(TIFF* tiff) {
  Shape shape = {};
  shape.width = field<uint32_t>(tiff, TIFFTAG_IMAGEWIDTH, 0);
  shape.height = field<uint32_t>(tiff, TIFFTAG_IMAGELENGTH, 0);
  shape.bits = field<uint16_t>(tiff, TIFFTAG_BITSPERSAMPLE, 1);
  shape.samples = field<uint16_t>(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  shape.sample_format = field<uint16_t>(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
  shape.photometric = field<uint16_t>(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  shape.planar = field<uint16_t>(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  shape.compression = field<uint16_t>(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  shape.fill_order = field<uint16_t>(tiff, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB);
  shape.orientation = field<uint16_t>(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
  shape.is_tiled = TIFFIsTiled(tiff) != 0;
  if (shape.is_tiled) {
    shape.block_width = field<uint32_t>(tiff, TIFFTAG_TILEWIDTH, 0);
    shape.block_height = field<uint32_t>(tiff, TIFFTAG_TILELENGTH, 0);
  } else {
    shape.block_width = shape.width;
    shape.block_height = std::min(field<uint32_t>(tiff, TIFFTAG_ROWSPERSTRIP, UINT32_MAX), shape.height);
  }
  return shape;
}

// ---- What can be read ----

constexpr uint16_t kCompressions[] = {COMPRESSION_NONE,          COMPRESSION_CCITTRLE,  COMPRESSION_CCITTFAX3,
                                      COMPRESSION_CCITTFAX4,     COMPRESSION_LZW,       COMPRESSION_JPEG,
                                      COMPRESSION_ADOBE_DEFLATE, COMPRESSION_CCITTRLEW, COMPRESSION_LZMA,
                                      COMPRESSION_PACKBITS,      COMPRESSION_DEFLATE,   COMPRESSION_ZSTD,
                                      COMPRESSION_WEBP};

struct Refusal {
  uint16_t value;
  const char* reason;
};
constexpr Refusal kPhotometrics[] = {{PHOTOMETRIC_CIELAB, "L*a*b* colours are not read"},
                                     {PHOTOMETRIC_ICCLAB, "L*a*b* colours are not read"},
                                     {PHOTOMETRIC_ITULAB, "L*a*b* colours are not read"},
                                     {PHOTOMETRIC_CFA, "raw camera mosaics are not read"},
                                     {34892, "raw camera colours are not read"},
                                     {PHOTOMETRIC_LOGL, "logarithmic luminance is not read"},
                                     {PHOTOMETRIC_LOGLUV, "logarithmic luminance is not read"}};

bool refuse_compression(const Codec& codec, uint16_t compression) {
  char text[64];
  std::snprintf(text, sizeof text, "compression %u is not read", compression);
  return refuse_page(codec, text);
}

bool check_compression(const Codec& codec, const Shape& shape) {
  if (shape.compression == COMPRESSION_OJPEG) return refuse_page(codec, "old-style JPEG is not read");
  if (std::find(std::begin(kCompressions), std::end(kCompressions), shape.compression) ==
      std::end(kCompressions)) {
    return refuse_compression(codec, shape.compression);
  }
  return TIFFIsCODECConfigured(shape.compression) != 0 || refuse_compression(codec, shape.compression);
}

bool check_samples(const Codec& codec, const Shape& shape) {
  switch (shape.sample_format) {
    case SAMPLEFORMAT_UINT:
    case SAMPLEFORMAT_VOID:
      return (shape.bits >= 1 && shape.bits <= 32) ||
             refuse_page(codec, "integers above 32 bits are not read");
    case SAMPLEFORMAT_IEEEFP:
      return shape.bits == 16 || shape.bits == 32 || shape.bits == 64 ||
             refuse_page(codec, "floating-point samples of other than 16, 32 or 64 bits are not read");
    case SAMPLEFORMAT_INT:
      return refuse_page(codec, "signed integer samples are not read");
    default:
      return refuse_page(codec, "complex samples are not read");
  }
}

bool is_jpeg_colour(const Shape& shape) {
  return shape.photometric == PHOTOMETRIC_YCBCR && shape.compression == COMPRESSION_JPEG &&
         shape.planar == PLANARCONFIG_CONTIG && shape.samples == 3;
}

// Samples come as this plug-in takes them.
void prepare_decoding(const Codec& codec, const Shape& shape) {
  if (is_jpeg_colour(shape)) TIFFSetField(codec.tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
}

// The colour samples of a pixel, without extra ones; -1 when the page cannot be read, reported.
int32_t count_colours(const Codec& codec, const Shape& shape, int32_t extras) {
  switch (shape.photometric) {
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE:
      return 1;
    case PHOTOMETRIC_RGB:
      return 3;
    case PHOTOMETRIC_SEPARATED:
      return std::max(shape.samples - extras, 1);
    case PHOTOMETRIC_MASK:
      return 0;
    case PHOTOMETRIC_YCBCR:
      if (is_jpeg_colour(shape)) return 3;
      refuse_page(codec, "YCbCr samples are read only of JPEG-compressed pages");
      return -1;
    case PHOTOMETRIC_PALETTE:
      if (shape.bits <= 16 && shape.sample_format != SAMPLEFORMAT_IEEEFP) return 1;
      refuse_page(codec, "a palette takes indices of 1 to 16 bits");
      return -1;
    default:
      break;
  }
  for (const Refusal& row : kPhotometrics) {
    if (row.value == shape.photometric) return refuse_page(codec, row.reason) ? 0 : -1;
  }
  char text[64];
  std::snprintf(text, sizeof text, "photometric interpretation %u is not read", shape.photometric);
  refuse_page(codec, text);
  return -1;
}

// ---- Channels ----

// The first extra sample that is coverage, among those behind the colours.
int32_t find_alpha(int32_t file_colours, const Shape& shape, int32_t count, const uint16_t* kinds,
                   bool* is_separate) {
  for (int32_t i = 0; i < count && file_colours + i < shape.samples; ++i) {
    if (kinds[i] != EXTRASAMPLE_ASSOCALPHA && kinds[i] != EXTRASAMPLE_UNASSALPHA) continue;
    *is_separate = kinds[i] == EXTRASAMPLE_UNASSALPHA;
    return file_colours + i;
  }
  return -1;
}

bool take_channels(const Codec& codec, const Settings& settings, const Shape& shape, Channels* out) {
  uint16_t extras = 0;
  const uint16_t* kinds = nullptr;
  if (TIFFGetFieldDefaulted(codec.tiff, TIFFTAG_EXTRASAMPLES, &extras, &kinds) == 0 || !kinds) extras = 0;
  const int32_t file_colours = count_colours(codec, shape, extras);
  if (file_colours < 0) return false;
  if (file_colours > shape.samples) return refuse_page(codec, "it has fewer samples than colours");
  Channels channels = {};
  channels.file_colours = channels.colours = file_colours;
  const bool is_mask = shape.photometric == PHOTOMETRIC_MASK;
  channels.alpha = is_mask ? 0 : find_alpha(file_colours, shape, extras, kinds, &channels.is_separate);
  channels.mattes = channels.alpha >= 0 ? 1 : 0;
  channels.aux = shape.samples - file_colours - channels.mattes;
  if (shape.photometric == PHOTOMETRIC_PALETTE) {
    channels.has_indices = settings.palette == Palette::indices;
    channels.colours = channels.has_indices ? 0 : 3;
  }
  const bool is_float = shape.sample_format == SAMPLEFORMAT_IEEEFP;
  channels.type = !is_float ? ORB_C_INTEGER : shape.bits == 64 ? ORB_C_DOUBLE : ORB_C_FLOAT;
  channels.width = is_float ? std::max<int32_t>(shape.bits, 32) : shape.bits;
  channels.colour_width = channels.width;
  channels.form = form_of(shape.sample_format, shape.bits);
  *out = channels;
  return true;
}

// ---- The band ----

// Decoded planes take turns at one decoder, so every band costs the rows above it as well: there are few of them, as far
// as the limits leave room.
uint64_t planar_budget() {
  const uint64_t least_limit = std::min(ORB_limit(ORB_LIMIT_BUFFER, 0), ORB_limit(ORB_LIMIT_HANDLE, 0));
  return std::clamp(least_limit / 4, kBandBytes, kPlanarBandBytes);
}

uint32_t band_rows(const Shape& shape, const Band& band) {
  if (shape.is_tiled) return shape.block_height;
  const uint64_t decoded = band.planes > 1 ? planar_budget() : kBandBytes;
  const uint64_t budget = shape.compression == COMPRESSION_NONE ? kPlainBandBytes : decoded;
  const uint64_t fitting = std::max<uint64_t>(budget / band.row_bytes / band.planes, 1);
  return static_cast<uint32_t>(std::min<uint64_t>(fitting, shape.block_height));
}

// Limits are held against the band and the channel rows; only one page of a file has them at a time.
bool lay_out_band(const Codec& codec, const Shape& shape, const Channels& channels, Band* out) {
  Band band = {};
  const bool is_planar = shape.planar == PLANARCONFIG_SEPARATE && shape.samples > 1;
  band.planes = is_planar ? shape.samples : 1;
  band.unit = is_planar ? 1 : shape.samples;
  band.row_bytes = (uint64_t{shape.block_width} * band.unit * shape.bits + 7) / 8;
  band.across = (shape.width - 1) / shape.block_width + 1;
  const uint64_t bytes_there =
      static_cast<uint64_t>(shape.is_tiled ? TIFFTileRowSize64(codec.tiff) : TIFFScanlineSize64(codec.tiff));
  if (bytes_there != band.row_bytes) return refuse_page(codec, "the layout of its samples is not read");
  band.rows = band_rows(shape, band);
  const uint64_t most = ORB_limit(ORB_LIMIT_HANDLE, 0) / band.across / band.planes;
  // A product that is over the limit by far is not computed.
  if (band.row_bytes > most || band.rows > most / band.row_bytes) {
    return orb__within_limit(ORB_LIMIT_HANDLE, UINT64_MAX, kCall) != 0;
  }
  band.block_bytes = band.rows * band.row_bytes;
  const uint64_t row_samples = uint64_t{shape.width} * static_cast<uint64_t>(channels.total());
  *out = band;
  return orb__within_limit(ORB_LIMIT_BUFFER, band.bytes(), kCall) != 0 &&
         orb__within_limit(ORB_LIMIT_HANDLE, band.bytes() + 8 * row_samples, kCall) != 0;
}

// ---- Which way up ----

void take_orientation(Codec& codec, Page* page) {
  const uint16_t orientation = page->shape.orientation;
  page->is_upward = orientation == ORIENTATION_BOTLEFT || orientation == ORIENTATION_BOTRIGHT;
  page->is_mirrored = orientation == ORIENTATION_TOPRIGHT || orientation == ORIENTATION_BOTRIGHT;
  if (orientation >= ORIENTATION_LEFTTOP && orientation <= ORIENTATION_LEFTBOT) {
    warn(codec, "the picture is to be turned by 90 degrees; it comes as it is stored");
  }
}

void take_sense(Codec& codec, const Settings& settings, Page* page) {
  if (page->shape.photometric != PHOTOMETRIC_MINISWHITE || settings.sense == Sense::stored) return;
  if (page->channels.type != ORB_C_INTEGER) {
    warn(codec, "0 is white; floating-point samples come as they are stored");
    return;
  }
  page->turns_around = true;
  note(codec, "0 is white in the file; the samples are turned around, so that 0 is black");
}

bool is_page_size(const Shape& shape) {
  return shape.width >= 1 && shape.width <= INT32_MAX && shape.height >= 1 && shape.height <= INT32_MAX &&
         shape.block_width >= 1 && shape.block_height >= 1;
}

}  // namespace

int32_t Channels::row_of(int32_t sample) const {
  if (sample < file_colours) return has_indices ? mattes + aux : sample;
  if (sample == alpha) return colours;
  const int32_t is_behind_alpha = alpha >= 0 && sample > alpha ? 1 : 0;
  return colours + mattes + (sample - file_colours - is_behind_alpha);
}

Form form_of(uint16_t sample_format, int32_t bits) {
  if (sample_format == SAMPLEFORMAT_IEEEFP && bits == 16) return Form::half;
  switch (bits) {
    case 8:
      return Form::byte;
    case 16:
      return Form::two;
    case 24:
      return Form::three;
    case 32:
      return Form::four;
    case 64:
      return Form::eight;
    default:
      return Form::bits;
  }
}

bool take_page(Codec& codec, const Settings& settings, Page* out) {
  Page page = {};
  page.directory = TIFFCurrentDirOffset(codec.tiff);
  page.shape = shape_of(codec.tiff);
  if (!is_page_size(page.shape)) return refuse_page(codec, "a side of 0 or above 2147483647 is not read");
  if (orb__within_limit(ORB_LIMIT_CHANNELS, page.shape.samples, kCall) == 0) return false;
  if (!check_compression(codec, page.shape) || !check_samples(codec, page.shape)) return false;
  if (!take_channels(codec, settings, page.shape, &page.channels)) return false;
  prepare_decoding(codec, page.shape);
  if (!lay_out_band(codec, page.shape, page.channels, &page.band)) return false;
  take_orientation(codec, &page);
  take_sense(codec, settings, &page);
  *out = page;
  return true;
}

bool go_to(Codec& codec, const Page& page) {
  forget_errors(codec);
  codec.is_muted = true;
  const bool is_there = guarded(codec, [&codec, &page] {
    return TIFFCurrentDirOffset(codec.tiff) == page.directory ||
           TIFFSetSubDirectory(codec.tiff, page.directory) == 1;
  });
  codec.is_muted = false;
  if (!is_there || has_error(codec)) {
    report_failure(codec, kNoLine);
    return false;
  }
  prepare_decoding(codec, page.shape);
  return shape_of(codec.tiff) == page.shape || refuse_page(codec, "the file has changed since it was opened");
}

bool take_palette(Codec& codec, const Page& page, Palette16* out) {
  uint16_t* stored[3] = {};
  const uint32_t count = 1U << page.shape.bits;
  if (TIFFGetField(codec.tiff, TIFFTAG_COLORMAP, &stored[0], &stored[1], &stored[2]) == 0) {
    return refuse_page(codec, "the palette is missing");
  }
  // The codec library says nothing of tables that it had no memory for.
  if (!stored[0] || !stored[1] || !stored[2]) return plugin::fail_for_memory() == 0;
  owned<uint16_t> entries = make_zeroed<uint16_t>(uint64_t{3} * count);
  if (!entries) return false;
  uint16_t largest = 0;
  for (uint32_t i = 0; i < 3 * count; ++i) {
    const uint16_t value = stored[i / count][i % count];
    entries.get()[i] = value;
    largest = std::max(largest, value);
  }
  const bool is_low = largest > 0 && largest < 256;
  if (is_low) warn(codec, "the palette is stored in 8 bits a value; it is scaled to 16");
  out->is_8_bit = true;
  for (uint32_t i = 0; i < 3 * count; ++i) {
    uint16_t& value = entries.get()[i];
    if (is_low) value = static_cast<uint16_t>(value * 257);
    out->is_8_bit = out->is_8_bit && value % 257 == 0;
  }
  out->count = count;
  for (uint32_t c = 0; c < 3; ++c) out->entries[c] = entries.get() + size_t{c} * count;
  entries.release();
  return true;
}

}  // namespace orb::tiff
