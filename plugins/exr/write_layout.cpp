// Which parts hold the images of a description.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "metadata.h"
#include "orbbase/driver.h"
#include "plugins/common/description.h"
#include "plugins/common/reports.h"
#include "write.h"

namespace orb::exr {
namespace {

using plugin::is_given;
using plugin::refuse;

constexpr const char* kCall = "Opening an OpenEXR file for writing";

// ---- Groups ----

struct GroupRule {
  ORB_CHANNELS ORB_IFD::*group;
  int32_t bad_type;
  int32_t bad_width;
  bool allows_doubles;  // for what reads as doubles: integers and floats mixed
};
constexpr GroupRule kRules[] = {{&ORB_IFD::color, ORB_MSG_IMAGE_TYPE, ORB_MSG_IMAGE_WIDTH, false},
                                {&ORB_IFD::matte, ORB_MSG_MATTE_TYPE, ORB_MSG_MATTE_WIDTH, false},
                                {&ORB_IFD::aux, ORB_MSG_AUX_TYPE, ORB_MSG_AUX_WIDTH, true}};

bool check_groups(const ORB_IFD& ifd) {
  for (const GroupRule& rule : kRules) {
    const ORB_CHANNELS& group = ifd.*rule.group;
    if (group.count < 0 || group.count > kMostChannels) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
    if (group.count == 0) continue;
    const bool is_known = group.type == ORB_C_INTEGER || group.type == ORB_C_FLOAT ||
                          (group.type == ORB_C_DOUBLE && rule.allows_doubles);
    if (!is_known) return refuse(rule.bad_type, kKey);
    if (group.type == ORB_C_INTEGER && group.width != 32) return refuse(rule.bad_width, kKey);
  }
  const auto is_named_count = [](int32_t count) { return count == 0 || count == 1 || count == 3; };
  const int32_t count = ifd.color.count + ifd.matte.count + ifd.aux.count;
  const bool is_held = is_named_count(ifd.color.count) && is_named_count(ifd.matte.count) && count > 0 &&
                       count <= kMostChannels && (ifd.color.count > 0 || ifd.index.count == 0);
  if (!is_held) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  return orb__within_limit(ORB_LIMIT_CHANNELS, static_cast<uint64_t>(count), kCall) != 0;
}

// By the setting.
constexpr FloatTypes kFloatTypes[] = {
    {EXR_PIXEL_FLOAT, EXR_PIXEL_FLOAT}, {EXR_PIXEL_HALF, EXR_PIXEL_HALF}, {EXR_PIXEL_HALF, EXR_PIXEL_FLOAT}};

bool lay_out_channels(const ORB_IFD& ifd, Samples samples, WritePart& out) {
  NamedChannels named;
  bool is_storable = true;
  if (!choose_names(ifd, kFloatTypes[static_cast<int32_t>(samples)], named, &is_storable)) {
    return !is_storable && refuse(ORB_MSG_AUX_TYPE, kKey);
  }
  out.part.planes = make_zeroed<Plane>(static_cast<uint64_t>(named.count)).release();
  if (!out.part.planes) return false;
  out.part.plane_count = named.count;
  for (int32_t i = 0; i < named.count; ++i) {
    const Channel& channel = named.channels.get()[i];
    out.part.planes[i] = {channel.name, channel.type, channel.row, 0};
  }
  for (int i = 0; i < 3; ++i) {
    out.names[i] = named.names[i].release();
    out.groups[i] = ifd.*kRules[i].group;
  }
  return true;
}

// ---- Windows ----

// The display window of the file: the first image's picture, if it makes up the window together with the samples,
// else the window.
ORB_WINDOW choose_picture(ORB_INFO& info) {
  const ORB_IFD& ifd = info.images[0];
  const int64_t right = int64_t{info.words[0]} + ifd.pair_a[0] - 1;
  const int64_t top = int64_t{info.words[1]} + ifd.pair_a[1] - 1;
  if (ifd.pair_a[0] > 0 && ifd.pair_a[1] > 0 && right <= ifd.window.right && top <= ifd.window.top) {
    const ORB_WINDOW picture = {info.words[0], static_cast<int32_t>(right), info.words[1],
                                static_cast<int32_t>(top)};
    if (is_same(united(picture, ifd.active_window), ifd.window)) return picture;
  }
  return ifd.window;
}

bool lay_out_windows(const ORB_WINDOW& picture, ORB_IFD& ifd, Place& place) {
  if (!has_pixels(ifd.window) || !has_pixels(ifd.active_window) ||
      !lies_within(ifd.active_window, ifd.window)) {
    return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  }
  place = {{int64_t{picture.bottom} + picture.top}, ifd.window, ifd.active_window, picture};
  const int64_t first = place.lines.mirror - place.active.top;
  const int64_t last = place.lines.mirror - place.active.bottom;
  if (first < INT32_MIN || last > INT32_MAX) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  const bool is_derived = is_same(place.window, united(place.active, picture));
  const ORB_WINDOW& shown = is_derived ? picture : place.window;
  ifd.pair_a[0] = static_cast<int32_t>(plugin::width_of(shown));
  ifd.pair_a[1] = static_cast<int32_t>(plugin::height_of(shown));
  return true;
}

// ---- Names of parts ----

bool is_taken(const ORB_INFO& info, int32_t count, const char* name) {
  return std::any_of(info.images, info.images + count,
                     [name](const ORB_IFD& ifd) { return ifd.name && std::strcmp(ifd.name, name) == 0; });
}

// Parts of one file have names, each its own.
bool name_part(ORB_INFO& info, int32_t index) {
  ORB_IFD& ifd = info.images[index];
  if (!is_given(ifd.name)) {
    ERR_free(ifd.name);
    ifd.name = nullptr;
  }
  if (info.image_count == 1 || (ifd.name && !is_taken(info, index, ifd.name))) return true;
  char name[32];
  int32_t number = index + 1;
  do {
    std::snprintf(name, sizeof name, "image %d", number++);
  } while (is_taken(info, index, name));
  return set_text(ifd.name, name);
}

// What a reader will make of the channels' names stands where no name was given.
bool name_groups(ORB_IFD& ifd, const WritePart& part) {
  const owned<Channel> by_row = make_zeroed<Channel>(static_cast<uint64_t>(part.part.plane_count));
  if (!by_row) return false;
  for (int32_t i = 0; i < part.part.plane_count; ++i) {
    const Plane& plane = part.part.planes[i];
    by_row.get()[plane.row] = {plane.name, plane.type, plane.row};
  }
  const Channel* next = by_row.get();
  for (const GroupRule& rule : kRules) {
    ORB_CHANNELS& group = ifd.*rule.group;
    const std::span<const Channel> channels(next, static_cast<size_t>(group.count));
    next += group.count;
    if (is_given(group.name) && group.count > 0) continue;
    ERR_free(group.name);
    if (!name_group(channels, rule.group == &ORB_IFD::aux, group.type, &group.name)) return false;
  }
  ERR_free(ifd.index.name);
  ifd.index.name = nullptr;
  return true;
}

// ---- All of a part ----

int32_t lines_of_chunk(Compression compression) {
  constexpr int32_t kLines[] = {1, 1, 1, 16, 32, 16, 32, 32, 32, 256};
  return kLines[static_cast<int32_t>(compression)];
}

bool lay_out_part(ORB_INFO& info, int32_t index, const ORB_WINDOW& picture, Writer& writer) {
  ORB_IFD& ifd = info.images[index];
  WritePart& out = writer.parts[index];
  Part& part = out.part;
  out.writer = &writer;
  out.index = index;
  if (!check_groups(ifd) || !lay_out_windows(picture, ifd, part.place)) return false;
  if (!lay_out_channels(ifd, writer.settings.samples, out)) return false;
  out.chunk_lines = lines_of_chunk(writer.settings.compression);
  part.band.width = static_cast<int32_t>(plugin::width_of(ifd.active_window));
  part.band.lines =
      static_cast<int32_t>(std::min<int64_t>(out.chunk_lines, plugin::height_of(ifd.active_window)));
  if (!lay_out_band(part)) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  ifd.image_kind = 1;
  ifd.aspect_kind = 1;
  if (ifd.color.count != 0) ifd.index.count = 0;
  // The codec library writes chunks in no other order.
  ifd.orientation = 0;
  return is_within_limits(part, ifd, kCall) && name_part(info, index) && name_groups(ifd, out);
}

// ---- The header ----

exr_attr_box2i_t box_of(const ORB_WINDOW& window) {
  exr_attr_box2i_t box;
  box.min.x = window.left;
  box.min.y = window.bottom;
  box.max.x = window.right;
  box.max.y = window.top;
  return box;
}

exr_result_t put_windows(exr_context_t context, int index, const WritePart& out, const ORB_IFD& ifd,
                         Compression compression) {
  const Place& place = out.part.place;
  const ORB_WINDOW data = {place.active.left, place.active.right, place.lines.mirrored(place.active.top),
                           place.lines.mirrored(place.active.bottom)};
  const exr_attr_box2i_t data_box = box_of(data);
  const exr_attr_box2i_t display_box = box_of(place.picture);
  exr_attr_v2f_t centre;
  centre.x = centre.y = 0;
  const exr_result_t result =
      exr_initialize_required_attr(context, index, &display_box, &data_box, ifd.pixel_aspect, &centre, 1.0F,
                                   EXR_LINEORDER_INCREASING_Y, static_cast<exr_compression_t>(compression));
  if (result != EXR_ERR_SUCCESS || is_same(place.window, united(place.active, place.picture))) return result;
  const exr_attr_box2i_t window_box = box_of(place.window);
  return exr_attr_set_box2i(context, index, kWindowAttribute, &window_box);
}

exr_result_t put_channels(exr_context_t context, int index, const Part& part) {
  for (int32_t i = 0; i < part.plane_count; ++i) {
    const Plane& plane = part.planes[i];
    const exr_result_t result =
        exr_add_channel(context, index, plane.name, plane.type, EXR_PERCEPTUALLY_LOGARITHMIC, 1, 1);
    if (result != EXR_ERR_SUCCESS) return result;
  }
  return EXR_ERR_SUCCESS;
}

// Names of groups that a reader would not find by itself. A list of the channels' names is found.
exr_result_t put_group_names(exr_context_t context, int index, const WritePart& out, const ORB_IFD& ifd) {
  ORB_IFD found = {};
  for (int i = 0; i < 3; ++i) {
    found.*kRules[i].group = out.groups[i];
    (found.*kRules[i].group).name = nullptr;
  }
  exr_result_t result = name_groups(found, out) ? EXR_ERR_SUCCESS : EXR_ERR_OUT_OF_MEMORY;
  for (const GroupAttribute& row : kGroupNames) {
    const char* given = (ifd.*row.group).name;
    const char* derived = (found.*row.group).name;
    const bool is_other = given && (!derived || std::strcmp(given, derived) != 0);
    if (result == EXR_ERR_SUCCESS && is_other) result = exr_attr_set_string(context, index, row.name, given);
    ERR_free((found.*row.group).name);
  }
  return result;
}

exr_result_t put_part(const ORB_IMAGE& image, Writer& writer, int32_t index) {
  exr_context_t context = writer.codec.context;
  const ORB_IFD& ifd = image.info.images[index];
  const WritePart& out = writer.parts[index];
  int added = 0;
  exr_result_t result = exr_add_part(context, ifd.name, EXR_STORAGE_SCANLINE, &added);
  if (result == EXR_ERR_SUCCESS) {
    result = put_windows(context, index, out, ifd, writer.settings.compression);
  }
  if (result == EXR_ERR_SUCCESS) result = put_channels(context, index, out.part);
  if (result == EXR_ERR_SUCCESS) result = put_group_names(context, index, out, ifd);
  return result == EXR_ERR_SUCCESS ? put_metadata(writer.codec, image, index) : result;
}

bool has_type(const Writer& writer, exr_pixel_type_t type) {
  return std::any_of(writer.parts, writer.parts + writer.part_count, [type](const WritePart& out) {
    return std::any_of(out.part.planes, out.part.planes + out.part.plane_count,
                       [type](const Plane& plane) { return plane.type == type; });
  });
}

}  // namespace

bool lay_out_parts(ORB_IMAGE& image, Writer& writer) {
  ORB_INFO& info = image.info;
  const ORB_WINDOW picture = choose_picture(info);
  for (int32_t i = 0; i < writer.part_count; ++i) {
    if (!lay_out_part(info, i, picture, writer)) return false;
  }
  const bool is_whole = is_same(picture, info.images[0].window);
  info.words[0] = is_whole ? 0 : picture.left;
  info.words[1] = is_whole ? 0 : picture.bottom;
  return true;
}

bool is_lossy(const Writer& writer) {
  switch (writer.settings.compression) {
    case Compression::pxr24:
      return has_type(writer, EXR_PIXEL_FLOAT);
    case Compression::b44:
    case Compression::b44a:
      return has_type(writer, EXR_PIXEL_HALF);
    case Compression::dwaa:
    case Compression::dwab:
      return has_type(writer, EXR_PIXEL_HALF) || has_type(writer, EXR_PIXEL_FLOAT);
    default:
      return false;
  }
}

bool write_header(const ORB_IMAGE& image, Writer& writer) {
  forget_errors(writer.codec);
  exr_result_t result = exr_set_longname_support(writer.codec.context, 1);
  for (int32_t i = 0; i < writer.part_count && result == EXR_ERR_SUCCESS; ++i) {
    result = put_part(image, writer, i);
  }
  if (result == EXR_ERR_SUCCESS) result = checked(exr_write_header(writer.codec.context));
  if (result == EXR_ERR_SUCCESS) return true;
  report_failure(writer.codec, result, kNoLine);
  return false;
}

}  // namespace orb::exr
