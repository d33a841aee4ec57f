// The writing half of metadata.h.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

#include "lines.h"
#include "metadata.h"
#include "plugins/common/description.h"
#include "plugins/common/memory.h"

namespace orb::tiff {
namespace {

// ---- Settling ----

void forget_curve(ORB_INFO& info, ORB_IFD& ifd, int32_t index) {
  plugin::reset_curve(ifd.curve);
  if (index == 0) info.word_e |= ORB_ASSUMED_GAMMA;
}

bool is_one_table(const ORB_RESPONSE_CURVE& curve) {
  const size_t table_bytes = static_cast<size_t>(curve.resolution) * sizeof(uint16_t);
  return std::all_of(curve.tables, curve.tables + curve.channel_count, [&](const void* table) {
    return std::memcmp(table, curve.tables[0], table_bytes) == 0;
  });
}

// Tables that the tag holds as they are: one for all colours, or three that differ.
bool is_storable_curve(const ORB_IFD& ifd, int32_t bits) {
  const ORB_RESPONSE_CURVE& curve = ifd.curve;
  if (ifd.color.count == 0) return false;  // a reader keeps none of indices
  if (!curve.tables || curve.curve_type != ORB_C_INTEGER || curve.depth != 16) return false;
  if (ifd.color.type != ORB_C_INTEGER || bits > 16 || curve.resolution != 1 << bits) return false;
  if (curve.channel_count == 1) return true;
  return curve.channel_count == 3 && ifd.color.count == 3 && !is_one_table(curve);
}

void settle_curve(Codec& codec, ORB_INFO& info, ORB_IFD& ifd, int32_t index, int32_t bits) {
  const bool is_wanted = plugin::is_declared(info, ORB_ASSUMED_GAMMA);
  if (!is_wanted) return forget_curve(info, ifd, index);
  if (ifd.curve.kind != ORB_CURVE_GAMMA) {
    if (is_storable_curve(ifd, bits)) return;
    warn(codec, "this response curve cannot be stored");
    return forget_curve(info, ifd, index);
  }
  if (std::isfinite(ifd.curve.gamma) && ifd.curve.gamma > 0) return;
  warn(codec, "the gamma cannot be stored");
  forget_curve(info, ifd, index);
}

void settle_primaries(Codec& codec, ORB_INFO& info) {
  if (plugin::is_declared(info, ORB_ASSUMED_PRIMARIES)) {
    bool is_storable = true;
    for (float* point = info.chromaticity; point < info.chromaticity + 12; point += 3) {
      is_storable = is_storable && point[0] >= 0 && point[0] <= 1 && point[1] >= 0 && point[1] <= 1;
      if (is_storable) point[2] = 1.0F - point[0] - point[1];
    }
    if (is_storable) return;
    warn(codec, "the primaries cannot be stored");
  }
  plugin::reset_primaries(info);
}

struct Ratio {
  uint32_t over;
  uint32_t under;
};

// The simplest ratio that is the number again, by its continued fraction; none too far from 1 for whole
// numbers that a float holds.
std::optional<Ratio> ratio_of(float number) {
  if (!(number >= 0x1p-6F && number < 0x1p23F)) return std::nullopt;
  uint64_t over[2] = {0, 1};
  uint64_t under[2] = {1, 0};
  double rest = static_cast<double>(number);
  for (int i = 0; i < 40; ++i) {
    const double whole = std::floor(rest);
    const auto term = static_cast<uint64_t>(whole);
    over[0] = std::exchange(over[1], term * over[1] + over[0]);
    under[0] = std::exchange(under[1], term * under[1] + under[0]);
    if (over[1] >= 1U << 24 || under[1] >= 1U << 24) return std::nullopt;
    const double found = static_cast<double>(over[1]) / static_cast<double>(under[1]);
    if (static_cast<float>(found) == number) {
      return Ratio{static_cast<uint32_t>(over[1]), static_cast<uint32_t>(under[1])};
    }
    rest = 1 / (rest - whole);
  }
  return std::nullopt;
}

void settle_aspect(Codec& codec, ORB_INFO& info, ORB_IFD& ifd, int32_t index) {
  // 0 stands in a descriptor whose aspect nobody filled in.
  const bool is_wanted = plugin::is_declared(info, ORB_ASSUMED_PIXEL_ASPECT) && ifd.pixel_aspect != 0;
  if (is_wanted && ratio_of(ifd.pixel_aspect)) return;
  if (is_wanted) warn(codec, "the pixel aspect ratio cannot be stored");
  ifd.pixel_aspect = 1.0F;
  if (index == 0) info.word_e |= ORB_ASSUMED_PIXEL_ASPECT;
}

void settle_numbers(Codec& codec, ORB_INFO& info) {
  if (!plugin::is_declared(info, ORB_ASSUMED_FRAME_NUMBER)) info.frame_number = 1;
  plugin::settle_frame_rate(codec.file.stream, info);
  info.field_mode = 1;
  info.words[0] = info.words[1] = 0;
  info.frame_count = 0;
  info.int_d = 0;
  info.word_f = 0;
}

// ---- Tags ----

bool put_texts(TIFF* tiff, const ORB_INFO& info) {
  for (const TextTag& row : kTextTags) {
    const char* text = info.*row.field;
    if (!plugin::is_given(text) || (row.tag == TIFFTAG_DATETIME && !plugin::is_local_date(text))) continue;
    if (TIFFSetField(tiff, row.tag, text) != 1) return false;
  }
  return true;
}

bool put_primaries(TIFF* tiff, const ORB_INFO& info) {
  if (!plugin::is_declared(info, ORB_ASSUMED_PRIMARIES)) return true;
  float points[8];
  for (size_t i = 0; i < 8; ++i) points[i] = info.chromaticity[i / 2 * 3 + i % 2];
  return TIFFSetField(tiff, TIFFTAG_PRIMARYCHROMATICITIES, points) == 1 &&
         TIFFSetField(tiff, TIFFTAG_WHITEPOINT, points + 6) == 1;
}

bool put_aspect(TIFF* tiff, const ORB_INFO& info, const ORB_IFD& ifd) {
  const auto ratio = ratio_of(ifd.pixel_aspect);
  if (!plugin::is_declared(info, ORB_ASSUMED_PIXEL_ASPECT) || !ratio) return true;
  return TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE) == 1 &&
         TIFFSetField(tiff, TIFFTAG_XRESOLUTION, static_cast<double>(ratio->under)) == 1 &&
         TIFFSetField(tiff, TIFFTAG_YRESOLUTION, static_cast<double>(ratio->over)) == 1;
}

// The codec takes as many tables as the page has colours, one or three.
bool put_curve(TIFF* tiff, const ORB_IFD& ifd) {
  const ORB_RESPONSE_CURVE& curve = ifd.curve;
  if (curve.kind != ORB_CURVE_TABLE || !curve.tables) return true;
  void* const* at = curve.tables;
  const bool differ = curve.channel_count == 3;
  return TIFFSetField(tiff, TIFFTAG_TRANSFERFUNCTION, at[0], at[differ ? 1 : 0], at[differ ? 2 : 0]) == 1;
}

bool put_lines(Codec& codec, ORB_IMAGE& image, int32_t index) {
  char name[] = "orbbase";
  const TIFFFieldInfo field = {kPrivateTag, -1, -1, TIFF_ASCII, FIELD_CUSTOM, 1, 0, name};
  const owned<char> lines = make_lines(image, index);
  codec.is_out_of_memory = !lines;
  if (!lines || *lines == '\0') return lines != nullptr;
  return TIFFMergeFieldInfo(codec.tiff, &field, 1) == 0 &&
         TIFFSetField(codec.tiff, kPrivateTag, lines.get()) == 1;
}

}  // namespace

bool settle_metadata(Codec& codec, ORB_IMAGE& image, int32_t index, int32_t bits) {
  ORB_INFO& info = image.info;
  ORB_IFD& ifd = info.images[index];
  for (char** text :
       {&info.text1, &info.text3, &info.text4, &info.text5, &info.text6, &info.text7, &info.text8,
        &info.text9, &info.text10, &ifd.name, &ifd.color.name, &ifd.aux.name, &ifd.index.name}) {
    if (!plugin::is_given(*text)) plugin::drop_text(*text);
  }
  if (index == 0) {
    settle_primaries(codec, info);
    settle_numbers(codec, info);
    if (!plugin::settle_date(info.text7)) {
      fail(ORB_E_MEMORY);
      return false;
    }
  }
  settle_curve(codec, info, ifd, index, bits);
  settle_aspect(codec, info, ifd, index);
  return true;
}

bool put_metadata(Codec& codec, ORB_IMAGE& image, int32_t index) {
  TIFF* tiff = codec.tiff;
  const ORB_IFD& ifd = image.info.images[index];
  if (index == 0 && (!put_texts(tiff, image.info) || !put_primaries(tiff, image.info))) return false;
  if (plugin::is_given(ifd.name) && TIFFSetField(tiff, TIFFTAG_PAGENAME, ifd.name) != 1) return false;
  return put_aspect(tiff, image.info, ifd) && put_curve(tiff, ifd) && put_lines(codec, image, index);
}

}  // namespace orb::tiff
