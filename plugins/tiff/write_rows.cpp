// The pages of a TIFF and their scanlines: from the application's channel rows to the codec's rows.
#include <cstring>

#include "metadata.h"
#include "orbbase/driver.h"
#include "plugins/common/memory.h"
#include "samples.h"
#include "write.h"

namespace orb::tiff {
namespace {

struct Scheme {
  uint16_t compression;  // COMPRESSION_
  uint32_t level_tag;    // 0: it has no levels
  bool predicts;
};
constexpr Scheme kSchemes[] = {{COMPRESSION_NONE, 0, false},
                               {COMPRESSION_PACKBITS, 0, false},
                               {COMPRESSION_LZW, 0, true},
                               {COMPRESSION_ADOBE_DEFLATE, TIFFTAG_ZIPQUALITY, true},
                               {COMPRESSION_ZSTD, TIFFTAG_ZSTD_LEVEL, true}};

// Indices are no quantities, and the codec predicts whole bytes only.
uint16_t predictor_of(const Settings& settings, const Scheme& scheme, const WriteLayout& layout) {
  const bool is_whole = layout.bits == 8 || layout.bits == 16 || layout.bits == 32 || layout.bits == 64;
  if (!scheme.predicts || settings.predictor == Predictor::none || layout.has_indices || !is_whole) {
    return PREDICTOR_NONE;
  }
  return layout.sample_format == SAMPLEFORMAT_IEEEFP ? PREDICTOR_FLOATINGPOINT : PREDICTOR_HORIZONTAL;
}

bool put_compression(TIFF* tiff, const Settings& settings, const WriteLayout& layout) {
  const Scheme& scheme = kSchemes[static_cast<int32_t>(settings.compression)];
  if (TIFFSetField(tiff, TIFFTAG_COMPRESSION, scheme.compression) != 1) return false;
  const uint16_t predictor = predictor_of(settings, scheme, layout);
  if (predictor != PREDICTOR_NONE && TIFFSetField(tiff, TIFFTAG_PREDICTOR, predictor) != 1) return false;
  return scheme.level_tag == 0 || settings.level == 0 ||
         TIFFSetField(tiff, scheme.level_tag, settings.level) == 1;
}

uint16_t photometric_of(const WriteLayout& layout) {
  if (layout.has_indices) return PHOTOMETRIC_PALETTE;
  if (layout.colours == 4) return PHOTOMETRIC_SEPARATED;
  return layout.colours == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
}

bool put_extra_samples(Codec& codec, const WriteLayout& layout) {
  const auto count = static_cast<uint16_t>(layout.mattes + layout.aux);
  if (count == 0) return true;
  const owned<uint16_t> kinds = make_zeroed<uint16_t>(count);  // zero: of no kind
  codec.is_out_of_memory = !kinds;
  if (!kinds) return false;
  if (layout.mattes != 0) {
    kinds.get()[0] = layout.is_separate ? EXTRASAMPLE_UNASSALPHA : EXTRASAMPLE_ASSOCALPHA;
  }
  return TIFFSetField(codec.tiff, TIFFTAG_EXTRASAMPLES, count, kinds.get()) == 1;
}

bool put_shape(Writer& writer, const WritePage& page) {
  TIFF* tiff = writer.codec.tiff;
  const WriteLayout& layout = page.layout;
  const struct {
    uint32_t tag;
    uint32_t value;
  } rows[] = {
      {TIFFTAG_IMAGEWIDTH, layout.width},
      {TIFFTAG_IMAGELENGTH, layout.height},
      {TIFFTAG_BITSPERSAMPLE, static_cast<uint32_t>(layout.bits)},
      {TIFFTAG_SAMPLESPERPIXEL, static_cast<uint32_t>(layout.samples())},
      {TIFFTAG_SAMPLEFORMAT, layout.sample_format},
      {TIFFTAG_PHOTOMETRIC, photometric_of(layout)},
      {TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG},
      {TIFFTAG_ROWSPERSTRIP, layout.strip_rows},
      {TIFFTAG_ORIENTATION, page.is_upward ? uint32_t{ORIENTATION_BOTLEFT} : uint32_t{ORIENTATION_TOPLEFT}}};
  for (const auto& row : rows) {
    if (TIFFSetField(tiff, row.tag, row.value) != 1) return false;
  }
  if (layout.colours == 4 && TIFFSetField(tiff, TIFFTAG_INKSET, INKSET_CMYK) != 1) return false;
  const Palette16& palette = writer.palette;
  return !layout.has_indices || TIFFSetField(tiff, TIFFTAG_COLORMAP, palette.entries[0], palette.entries[1],
                                             palette.entries[2]) == 1;
}

bool put_page_number(const Writer& writer) {
  if (writer.image_count == 1) return true;
  TIFF* tiff = writer.codec.tiff;
  if (TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE) != 1) return false;
  // The tag counts in 16 bits.
  return writer.image_count > UINT16_MAX ||
         TIFFSetField(tiff, TIFFTAG_PAGENUMBER, writer.current, writer.image_count) == 1;
}

// ---- Rows ----

bool pack(const Writer& writer, const WriteLayout& layout, void* const* rows) {
  if (layout.form == Form::bits) std::memset(writer.packed, 0, layout.row_bytes + kPackedPadding);
  uint32_t all = 0;
  const auto samples = static_cast<size_t>(layout.samples());
  for (size_t c = 0; c < samples; ++c) {
    const Place place = {layout.form, layout.bits, samples, c};
    all |= put_samples(place, rows[c], layout.width, layout.has_indices, writer.packed);
  }
  return layout.bits >= 32 || all >> layout.bits == 0;
}

bool has_only_used_indices(const Writer& writer, const WriteLayout& layout, const void* row) {
  const auto* indices = static_cast<const uint16_t*>(row);
  uint16_t largest = 0;
  for (uint32_t i = 0; i < layout.width; ++i) largest = indices[i] > largest ? indices[i] : largest;
  return largest < writer.palette_used;
}

int32_t fail_for_good(Writer& writer, int64_t line) {
  return writer.failure = report_failure(writer.codec, line);
}

bool is_next(const WritePage& page, int32_t line) {
  if (page.next_row >= page.layout.height) return false;
  const int64_t next =
      page.is_upward ? int64_t{page.window.bottom} + page.next_row : int64_t{page.window.top} - page.next_row;
  return line == next;
}

// Pages come one after the other: the first row of the next ends the one before.
bool is_page_to_come(const Writer& writer, const WritePage& page) {
  if (page.index == writer.current) return true;
  const WritePage& before = *(&page - 1);
  return page.index == writer.current + 1 && before.next_row == before.layout.height;
}

int32_t enter_page(Writer& writer, const WritePage& page) {
  if (page.index == writer.current) return 0;
  const int32_t code = end_page(writer);
  if (code != 0) return code;
  writer.current = page.index;
  return begin_page(writer, page) ? 0 : fail_for_good(writer, kNoLine);
}

}  // namespace

bool begin_page(Writer& writer, const WritePage& page) {
  forget_errors(writer.codec);
  return !writer.codec.has_lost_tags && put_shape(writer, page) &&
         put_extra_samples(writer.codec, page.layout) &&
         put_compression(writer.codec.tiff, writer.settings, page.layout) && put_page_number(writer) &&
         put_metadata(writer.codec, *writer.image, page.index) && !has_error(writer.codec);
}

int32_t end_page(Writer& writer) {
  forget_errors(writer.codec);
  if (TIFFWriteDirectory(writer.codec.tiff) == 1 && !has_error(writer.codec)) return 0;
  return fail_for_good(writer, kNoLine);
}

int32_t write_scan(void* data, int32_t line, void* rows) {
  WritePage& page = *static_cast<WritePage*>(data);
  Writer& writer = *page.writer;
  if (writer.failure != 0) return fail(writer.failure);
  if (!is_next(page, line) || !is_page_to_come(writer, page)) {
    return plugin::refuse_line(line);
  }
  auto* const* channels = static_cast<void* const*>(rows);
  if (page.layout.has_indices && !has_only_used_indices(writer, page.layout, channels[0])) {
    return plugin::refuse_row(line, "a colour index is beyond its lookup table");
  }
  if (!pack(writer, page.layout, channels))
    return plugin::refuse_row(line, "a sample does not fit the channel width");
  const int32_t code = enter_page(writer, page);
  if (code != 0) return code;
  forget_errors(writer.codec);
  if (TIFFWriteScanline(writer.codec.tiff, writer.packed, page.next_row, 0) != 1 || has_error(writer.codec)) {
    return fail_for_good(writer, line);
  }
  ++page.next_row;
  return 0;
}

}  // namespace orb::tiff
