// The reading half of metadata.h.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "lines.h"
#include "metadata.h"
#include "plugins/common/description.h"
#include "plugins/common/memory.h"

namespace orb::tiff {
namespace {

bool take_text(Codec& codec, uint32_t tag, char*& field) {
  const char* text = nullptr;
  if (TIFFGetField(codec.tiff, tag, &text) == 0 || !text || *text == '\0') return true;
  const size_t size_bytes = std::strlen(text) + 1;
  if (orb__within_limit(ORB_LIMIT_BUFFER, size_bytes, "Opening a TIFF for reading") == 0) return false;
  field = make_zeroed<char>(size_bytes).release();
  if (!field) return false;
  std::memcpy(field, text, size_bytes);
  return true;
}

bool take_texts(Codec& codec, ORB_IMAGE& image, int32_t index) {
  for (const TextTag& row : kTextTags) {
    const char* text = nullptr;
    if (index == 0) {
      if (!take_text(codec, row.tag, image.info.*row.field)) return false;
    } else if (TIFFGetField(codec.tiff, row.tag, &text) != 0) {
      note(codec, "the texts of further pages are not kept");
      break;
    }
  }
  return take_text(codec, TIFFTAG_PAGENAME, image.info.images[index].name);
}

// The tag may be anybody's, of any type.
bool take_private_lines(Codec& codec, ORB_IMAGE& image, int32_t index) {
  const TIFFField* field = TIFFFindField(codec.tiff, kPrivateTag, TIFF_ASCII);
  if (!field || TIFFFieldDataType(field) != TIFF_ASCII || TIFFFieldReadCount(field) != TIFF_VARIABLE2)
    return true;
  uint32_t count = 0;
  const char* text = nullptr;
  if (TIFFGetField(codec.tiff, kPrivateTag, &count, &text) == 0 || !text) return true;
  return take_lines(image, index, {text, strnlen(text, count)});
}

bool name_matte(const Page& page, ORB_IFD& ifd) {
  if (page.channels.mattes == 0 || page.shape.photometric == PHOTOMETRIC_MASK) return true;
  const char* kind = page.channels.is_separate ? kSeparate : kAssociated;
  if (ifd.matte.name && !page.channels.is_separate) return true;
  ERR_free(ifd.matte.name);
  ifd.matte.name = make_zeroed<char>(std::strlen(kind) + 1).release();
  if (!ifd.matte.name) return false;
  std::memcpy(ifd.matte.name, kind, std::strlen(kind));
  return true;
}

void place_window(Codec& codec, const Page& page, ORB_WINDOW& window) {
  const int64_t right = int64_t{window.left} + page.shape.width - 1;
  const int64_t top = int64_t{window.bottom} + page.shape.height - 1;
  if (right > INT32_MAX || top > INT32_MAX) {
    warn(codec, "the picture's place is out of range and is not kept");
    window.left = window.bottom = 0;
    return place_window(codec, page, window);
  }
  window.right = static_cast<int32_t>(right);
  window.top = static_cast<int32_t>(top);
}

void take_aspect(Codec& codec, ORB_IMAGE& image, int32_t index) {
  float x = 0;
  float y = 0;
  uint16_t unit = RESUNIT_INCH;
  TIFFGetField(codec.tiff, TIFFTAG_XRESOLUTION, &x);
  TIFFGetField(codec.tiff, TIFFTAG_YRESOLUTION, &y);
  TIFFGetFieldDefaulted(codec.tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
  // Twice as many pixels a unit down as across: each is twice as wide as high.
  const double aspect = static_cast<double>(y) / static_cast<double>(x);
  if (!(std::isfinite(aspect) && aspect > 0)) {
    if (index == 0) image.info.word_e |= ORB_ASSUMED_PIXEL_ASPECT;
    return;
  }
  image.info.images[index].pixel_aspect = static_cast<float>(aspect);
  if (unit != RESUNIT_NONE) note(codec, "the pixels' size is not kept, only their aspect ratio");
}

bool is_coordinate(float value) { return value >= 0 && value <= 1; }

void take_primaries(Codec& codec, ORB_IMAGE& image) {
  const float* colours = nullptr;
  const float* white = nullptr;
  const bool has_colours = TIFFGetField(codec.tiff, TIFFTAG_PRIMARYCHROMATICITIES, &colours) != 0;
  const bool has_white = TIFFGetField(codec.tiff, TIFFTAG_WHITEPOINT, &white) != 0;
  const bool is_whole = has_colours && has_white && std::all_of(colours, colours + 6, is_coordinate) &&
                        std::all_of(white, white + 2, is_coordinate);
  if (!is_whole) {
    image.info.word_e |= ORB_ASSUMED_PRIMARIES;
    if (has_colours || has_white) warn(codec, "primaries and white point are incomplete and are not kept");
    return;
  }
  float* out = image.info.chromaticity;
  for (const float* point : {colours, colours + 2, colours + 4, white}) {
    *out++ = point[0];
    *out++ = point[1];
    *out++ = 1.0F - point[0] - point[1];
  }
}

// The tables of a transfer function are a response curve of 16 bits.
bool take_curve(Codec& codec, ORB_IMAGE& image, int32_t index, const Page& page) {
  const uint16_t* tables[3] = {};
  if (page.shape.bits > 16) return true;
  if (TIFFGetField(codec.tiff, TIFFTAG_TRANSFERFUNCTION, &tables[0], &tables[1], &tables[2]) == 0)
    return true;
  if (page.shape.photometric == PHOTOMETRIC_PALETTE) {
    note(codec, "the transfer function of palette indices is not kept");
    return true;
  }
  const size_t entries = size_t{1} << page.shape.bits;
  const size_t table_bytes = entries * sizeof(uint16_t);
  bool differ = false;
  for (int i = 1; i < 3 && tables[i]; ++i) {
    differ = differ || std::memcmp(tables[0], tables[i], table_bytes) != 0;
  }
  ORB_RESPONSE_CURVE& curve = image.info.images[index].curve;
  curve.channel_count = differ ? 3 : 1;
  curve.resolution = 1 << page.shape.bits;
  curve.curve_type = ORB_C_INTEGER;
  curve.depth = 16;
  if (ORB_response_curve_init(&curve) != 0) {
    fail(ORB_E_MEMORY);
    return false;
  }
  for (int32_t i = 0; i < curve.channel_count; ++i) {
    std::memcpy(curve.tables[i], tables[i], table_bytes);
    if (page.turns_around)
      std::reverse_copy(tables[i], tables[i] + entries, static_cast<uint16_t*>(curve.tables[i]));
  }
  if (index == 0) plugin::declare(image.info, ORB_ASSUMED_GAMMA);
  return true;
}

// ---- What is not kept ----

bool is_taken_elsewhere(uint32_t tag) {
  constexpr uint32_t kTags[] = {TIFFTAG_PAGENAME,   TIFFTAG_PRIMARYCHROMATICITIES,
                                TIFFTAG_WHITEPOINT, TIFFTAG_REFERENCEBLACKWHITE,
                                TIFFTAG_INKSET,     kPrivateTag};
  return std::find(std::begin(kTags), std::end(kTags), tag) != std::end(kTags) ||
         std::any_of(std::begin(kTextTags), std::end(kTextTags),
                     [tag](const TextTag& row) { return row.tag == tag; });
}

void remark_on_tag(Codec& codec, uint32_t tag) {
  if (tag == TIFFTAG_ICCPROFILE) return warn(codec, "the colour profile is not kept");
  const TIFFField* field = TIFFFindField(codec.tiff, tag, TIFF_ANY);
  const char* name = field ? TIFFFieldName(field) : "";
  char text[96];
  std::snprintf(text, sizeof text, "tag %u (%.48s) is not kept", tag, name);
  note(codec, text);
}

// The codec library lists only tags that it has no field of its own for.
void remark_on_tags(Codec& codec) {
  constexpr uint32_t kUnlisted[] = {TIFFTAG_THRESHHOLDING,   TIFFTAG_MINSAMPLEVALUE, TIFFTAG_MAXSAMPLEVALUE,
                                    TIFFTAG_HALFTONEHINTS,   TIFFTAG_INKNAMES,       TIFFTAG_NUMBEROFINKS,
                                    TIFFTAG_SMINSAMPLEVALUE, TIFFTAG_SMAXSAMPLEVALUE};
  const int count = TIFFGetTagListCount(codec.tiff);
  for (int i = 0; i < count; ++i) {
    const uint32_t tag = TIFFGetTagListEntry(codec.tiff, i);
    if (!is_taken_elsewhere(tag)) remark_on_tag(codec, tag);
  }
  for (const uint32_t tag : kUnlisted) {
    double values[2];  // the most that any of them gives
    if (TIFFGetField(codec.tiff, tag, &values[0], &values[1]) != 0) remark_on_tag(codec, tag);
  }
}

void remark_on_shape(Codec& codec, const Page& page) {
  uint16_t ink_set = INKSET_CMYK;
  TIFFGetFieldDefaulted(codec.tiff, TIFFTAG_INKSET, &ink_set);
  if (page.shape.photometric == PHOTOMETRIC_SEPARATED && ink_set != INKSET_CMYK) {
    warn(codec, "its inks are not cyan, magenta, yellow and black; which they are is not kept");
  }
  uint32_t slices = 1;
  TIFFGetFieldDefaulted(codec.tiff, TIFFTAG_IMAGEDEPTH, &slices);
  if (slices > 1) warn(codec, "it has several slices, of which only the first is read");
  if (page.shape.sample_format == SAMPLEFORMAT_VOID) {
    note(codec, "the kind of samples is not declared; they are taken for unsigned integers");
  }
}

void remark_on_unkept(Codec& codec, const Page& page) {
  remark_on_tags(codec);
  remark_on_shape(codec, page);
  uint16_t sub_count = 0;
  const uint64_t* sub_directories = nullptr;
  TIFFGetField(codec.tiff, TIFFTAG_SUBIFD, &sub_count, &sub_directories);
  if (sub_count > 0) note(codec, "sub-directories are not read");
  float x = 0;
  float y = 0;
  TIFFGetField(codec.tiff, TIFFTAG_XPOSITION, &x);
  TIFFGetField(codec.tiff, TIFFTAG_YPOSITION, &y);
  if (x != 0 || y != 0) note(codec, "the picture's position on its page is not kept");
  uint32_t kind = 0;
  TIFFGetField(codec.tiff, TIFFTAG_SUBFILETYPE, &kind);
  if ((kind & FILETYPE_REDUCEDIMAGE) != 0) note(codec, "it is a reduced copy of another page");
}

}  // namespace

bool take_metadata(Codec& codec, ORB_IMAGE& image, int32_t index, const Page& page) {
  ORB_IFD& ifd = image.info.images[index];
  if (index == 0) {
    image.info.word_e = ORB_ASSUMED_GAMMA | ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
    take_primaries(codec, image);
  }
  if (!take_texts(codec, image, index) || !take_private_lines(codec, image, index)) return false;
  place_window(codec, page, ifd.window);
  take_aspect(codec, image, index);
  remark_on_unkept(codec, page);
  return name_matte(page, ifd) && take_curve(codec, image, index, page);
}

}  // namespace orb::tiff
