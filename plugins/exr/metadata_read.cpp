// The reading half of metadata.h.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "metadata.h"
#include "orbbase/driver.h"
#include "part.h"
#include "plugins/common/description.h"
#include "settings.h"

namespace orb::exr {
namespace {

// Looked at elsewhere, or how the file is built.
constexpr std::string_view kOfTheFile[] = {"channels",
                                           "compression",
                                           "dataWindow",
                                           "displayWindow",
                                           "lineOrder",
                                           "pixelAspectRatio",
                                           "name",
                                           "type",
                                           "version",
                                           "chunkCount",
                                           "screenWindowCenter",
                                           "tiles",
                                           "screenWindowWidth",
                                           kWindowAttribute};

bool take_copy(std::string_view text, char*& field) {
  return orb__within_limit(ORB_LIMIT_BUFFER, text.size() + 1, "Opening an OpenEXR file for reading") != 0 &&
         set_text(field, text);
}

// A string attribute up to its first zero; empty for one of another type.
std::string_view string_of(const exr_attribute_t& attribute) {
  if (attribute.type != EXR_ATTR_STRING || !attribute.string->str || attribute.string->length < 0) return {};
  return {attribute.string->str,
          strnlen(attribute.string->str, static_cast<size_t>(attribute.string->length))};
}

void remark_on(Codec& codec, const exr_attribute_t& attribute) {
  char text[160];
  std::snprintf(text, sizeof text, "attribute %.48s (%.24s) is not kept", attribute.name,
                attribute.type_name);
  note(codec, text);
}

enum class Taken { yes, no, out_of_memory };

// The first part's texts are the file's; others must not say something else.
Taken take_text(ORB_IMAGE& image, int32_t index, const exr_attribute_t& attribute) {
  const std::string_view text = string_of(attribute);
  for (const TextAttribute& row : kTexts) {
    if (row.name != std::string_view(attribute.name) || attribute.type != EXR_ATTR_STRING) continue;
    char*& field = image.info.*row.field;
    if (text.empty() || (field && text == field)) return Taken::yes;
    if (index > 0 || field) return Taken::no;
    return take_copy(text, field) ? Taken::yes : Taken::out_of_memory;
  }
  for (const GroupAttribute& row : kGroupNames) {
    if (row.name != std::string_view(attribute.name) || text.empty()) continue;
    ORB_CHANNELS& group = image.info.images[index].*row.group;
    if (group.count == 0) return Taken::no;
    return take_copy(text, group.name) ? Taken::yes : Taken::out_of_memory;
  }
  return Taken::no;
}

Taken take_number(ORB_INFO& info, int32_t index, const exr_attribute_t& attribute) {
  for (const NumberAttribute& row : kNumbers) {
    if (row.name != std::string_view(attribute.name) || attribute.type != EXR_ATTR_INT) continue;
    if (index > 0) {
      const bool is_said = plugin::is_declared(info, row.assumed) && info.*row.field == attribute.i;
      return is_said ? Taken::yes : Taken::no;
    }
    info.*row.field = attribute.i;
    plugin::declare(info, row.assumed);
    return Taken::yes;
  }
  return Taken::no;
}

Taken take_primaries(ORB_INFO& info, const exr_attribute_t& attribute) {
  const exr_attr_chromaticities_t& given = *attribute.chromaticities;
  const float points[4][2] = {{given.red_x, given.red_y},
                              {given.green_x, given.green_y},
                              {given.blue_x, given.blue_y},
                              {given.white_x, given.white_y}};
  const bool are_numbers = std::all_of(std::begin(points), std::end(points), [](const float(&point)[2]) {
    return std::isfinite(point[0]) && std::isfinite(point[1]);
  });
  if (!are_numbers) return Taken::no;
  float* out = info.chromaticity;
  for (const auto& point : points) {
    *out++ = point[0];
    *out++ = point[1];
    *out++ = 1.0F - point[0] - point[1];
  }
  plugin::declare(info, ORB_ASSUMED_PRIMARIES);
  return Taken::yes;
}

Taken take_frame_rate(ORB_INFO& info, const exr_attribute_t& attribute) {
  const exr_attr_rational_t rate = *attribute.rational;
  if (rate.num <= 0 || rate.denom == 0) return Taken::no;
  info.frame_rate = static_cast<float>(static_cast<double>(rate.num) / static_cast<double>(rate.denom));
  plugin::declare(info, ORB_ASSUMED_FRAME_RATE);
  return Taken::yes;
}

bool says_the_same(const ORB_INFO& a, const ORB_INFO& b) {
  return a.word_e == b.word_e && a.frame_rate == b.frame_rate &&
         std::equal(std::begin(a.chromaticity), std::end(a.chromaticity), b.chromaticity);
}

// All parts of a file have these in common; others must not say something else.
Taken take_shared(ORB_INFO& info, int32_t index, const exr_attribute_t& attribute) {
  const std::string_view name = attribute.name;
  const bool is_primaries = name == kPrimaries && attribute.type == EXR_ATTR_CHROMATICITIES;
  const bool is_rate = name == kFrameRate && attribute.type == EXR_ATTR_RATIONAL;
  if (!is_primaries && !is_rate) return Taken::no;
  ORB_INFO taking = info;
  const Taken taken = is_primaries ? take_primaries(taking, attribute) : take_frame_rate(taking, attribute);
  if (index > 0 && !says_the_same(taking, info)) return Taken::no;
  info = taking;
  return taken;
}

bool take_attribute(Codec& codec, ORB_IMAGE& image, int32_t index, const exr_attribute_t& attribute) {
  if (std::find(std::begin(kOfTheFile), std::end(kOfTheFile), attribute.name) != std::end(kOfTheFile))
    return true;
  Taken taken = take_text(image, index, attribute);
  if (taken == Taken::no) taken = take_number(image.info, index, attribute);
  if (taken == Taken::no) taken = take_shared(image.info, index, attribute);
  if (taken == Taken::no) remark_on(codec, attribute);
  return taken != Taken::out_of_memory;
}

void take_aspect(const Codec& codec, ORB_IMAGE& image, int32_t index) {
  float aspect = 0;
  static_cast<void>(exr_get_pixel_aspect_ratio(codec.context, index, &aspect));
  const bool is_ratio = std::isfinite(aspect) && aspect > 0;
  image.info.images[index].pixel_aspect = is_ratio ? aspect : 1.0F;
  if (is_ratio && index == 0) plugin::declare(image.info, ORB_ASSUMED_PIXEL_ASPECT);
}

void remark_on_screen(Codec& codec, int32_t index) {
  exr_attr_v2f_t centre = {};
  float width = 1;
  static_cast<void>(exr_get_screen_window_center(codec.context, index, &centre));
  static_cast<void>(exr_get_screen_window_width(codec.context, index, &width));
  if (centre.x != 0 || centre.y != 0 || width != 1) note(codec, "the screen window is not kept");
}

bool take_names(const Codec& codec, ORB_IMAGE& image, int32_t index) {
  const char* name = nullptr;
  const bool is_named = exr_get_name(codec.context, index, &name) == EXR_ERR_SUCCESS && name && *name != '\0';
  if (is_named && !take_copy(name, image.info.images[index].name)) return false;
  if (index > 0) return true;
  exr_compression_t compression = EXR_COMPRESSION_NONE;
  static_cast<void>(exr_get_compression(codec.context, index, &compression));
  return take_copy(name_of(compression), image.info.text10);
}

}  // namespace

bool take_metadata(Codec& codec, ORB_IMAGE& image, int32_t index) {
  if (!take_names(codec, image, index)) return false;
  // The format's samples are linear.
  image.info.images[index].curve.gamma = 1.0F;
  plugin::declare(image.info, ORB_ASSUMED_GAMMA);
  take_aspect(codec, image, index);
  remark_on_screen(codec, index);
  int32_t count = 0;
  static_cast<void>(exr_get_attribute_count(codec.context, index, &count));
  for (int32_t i = 0; i < count; ++i) {
    const exr_attribute_t* attribute = nullptr;
    const exr_result_t result =
        exr_get_attribute_by_index(codec.context, index, EXR_ATTR_LIST_FILE_ORDER, i, &attribute);
    if (result == EXR_ERR_SUCCESS && !take_attribute(codec, image, index, *attribute)) return false;
  }
  return true;
}

}  // namespace orb::exr
