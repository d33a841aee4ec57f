#include "part.h"

#include <algorithm>

#include "orbbase/driver.h"
#include "plugins/common/description.h"
#include "settings.h"

namespace orb::exr {
namespace {

constexpr const char* kCall = "Opening an OpenEXR file for reading";

bool pass_on(const Codec& codec, exr_result_t result) {
  if (result == EXR_ERR_SUCCESS) return true;
  report_failure(codec, result, kNoLine);
  return false;
}

bool refuse_storage(const Codec& codec, int32_t index) {
  exr_storage_t storage = EXR_STORAGE_LAST_TYPE;
  if (!pass_on(codec, exr_get_storage(codec.context, index, &storage))) return true;
  if (storage == EXR_STORAGE_SCANLINE || storage == EXR_STORAGE_TILED) return false;
  return !refuse_part(codec,
                      "it holds deep data, many samples a pixel, which a description has no place for");
}

bool check_compression(const Codec& codec, int32_t index) {
  exr_compression_t compression = EXR_COMPRESSION_NONE;
  if (!pass_on(codec, exr_get_compression(codec.context, index, &compression))) return false;
  if (compression >= EXR_COMPRESSION_LAST_TYPE) return refuse_part(codec, "its compression is not known");
  const char* reason = reason_against(compression);
  return !reason || refuse_part(codec, reason);
}

// ---- Windows ----

ORB_WINDOW window_of(const exr_attr_box2i_t& box) { return {box.min.x, box.max.x, box.min.y, box.max.y}; }

bool take_active(const Lines& lines, const exr_attr_box2i_t& data, ORB_WINDOW& out) {
  const int64_t bottom = lines.mirror - data.max.y;
  const int64_t top = lines.mirror - data.min.y;
  if (bottom < INT32_MIN || top > INT32_MAX) return false;
  out = {data.min.x, data.max.x, static_cast<int32_t>(bottom), static_cast<int32_t>(top)};
  return has_pixels(out);
}

ORB_WINDOW wanted_window(const Codec& codec, int32_t index, const Place& place) {
  exr_attr_box2i_t box = {};
  if (exr_attr_get_box2i(codec.context, index, kWindowAttribute, &box) == EXR_ERR_SUCCESS) {
    const ORB_WINDOW window = window_of(box);
    if (has_pixels(window) && lies_within(place.active, window)) return window;
  }
  return united(place.active, place.picture);
}

bool take_place(Codec& codec, int32_t index, Place& place) {
  exr_attr_box2i_t data = {};
  exr_attr_box2i_t display = {};
  if (!pass_on(codec, exr_get_data_window(codec.context, index, &data)) ||
      !pass_on(codec, exr_get_display_window(codec.context, index, &display))) {
    return false;
  }
  place.picture = window_of(display);
  place.lines.mirror = int64_t{display.min.y} + display.max.y;
  const bool is_sound = has_pixels(place.picture) && take_active(place.lines, data, place.active);
  if (is_sound) place.window = wanted_window(codec, index, place);
  return (is_sound && has_pixels(place.window)) || refuse_part(codec, "its windows are out of range");
}

void describe_place(Codec& codec, const Place& place, ORB_IFD& ifd) {
  ifd.window = place.window;
  ifd.active_window = place.active;
  const bool is_derived = is_same(place.window, united(place.active, place.picture));
  const ORB_WINDOW& shown = is_derived ? place.picture : place.window;
  ifd.pair_a[0] = static_cast<int32_t>(plugin::width_of(shown));
  ifd.pair_a[1] = static_cast<int32_t>(plugin::height_of(shown));
  if (is_derived && !lies_within(place.active, place.picture)) {
    note(codec, "there are samples outside of the display window; the image's window holds both");
  }
}

// ---- Channels ----

bool take_channels(const Codec& codec, int32_t index, owned<Channel>& out, int32_t& count_out) {
  const exr_attr_chlist_t* list = nullptr;
  if (!pass_on(codec, exr_get_channels(codec.context, index, &list))) return false;
  const int32_t count = list->num_channels;
  if (count < 1) return refuse_part(codec, "it has no channels");
  if (orb__within_limit(ORB_LIMIT_CHANNELS, static_cast<uint64_t>(count), kCall) == 0) return false;
  if (count > kMostChannels) return refuse_part(codec, "it has more channels than can be read");
  out = make_zeroed<Channel>(static_cast<uint64_t>(count));
  if (!out) return false;
  for (int32_t i = 0; i < count; ++i) {
    const exr_attr_chlist_entry_t& entry = list->entries[i];
    out.get()[i] = {entry.name.str, entry.pixel_type, 0};
    if (entry.x_sampling != 1 || entry.y_sampling != 1) {
      return refuse_part(codec, "a channel is subsampled, which is not supported");
    }
  }
  count_out = count;
  return true;
}

bool describe_channels(const Codec& codec, std::span<Channel> channels, ORB_IFD& ifd) {
  const Groups groups = classify(channels);
  if (groups.is_luminance_chroma) {
    return refuse_part(codec, "its colours are luminance and chroma, which is not supported");
  }
  // Rows in their order, to name them; the channels themselves stay sorted by name.
  const owned<Channel> by_row = make_zeroed<Channel>(channels.size());
  if (!by_row) return false;
  for (const Channel& channel : channels) by_row.get()[channel.row] = channel;
  const Channel* next = by_row.get();
  for (const auto& [wanted, group] :
       {std::pair{&groups.color, &ifd.color}, std::pair{&groups.matte, &ifd.matte},
        std::pair{&groups.aux, &ifd.aux}}) {
    *group = *wanted;
    const std::span<const Channel> named(next, static_cast<size_t>(group->count));
    if (!name_group(named, group == &ifd.aux, group->type, &group->name)) return false;
    next += group->count;
  }
  return true;
}

// A description has floats for halves, and a writer makes halves only where it is asked to.
void remark_on_halves(Codec& codec, const Part& part, const ORB_IFD& ifd) {
  bool has_floats[2] = {};  // among colours and mattes, among the auxiliary channels
  bool has_halves[2] = {};
  for (const Plane& plane : std::span(part.planes, static_cast<size_t>(part.plane_count))) {
    const bool is_aux = plane.row >= ifd.color.count + ifd.matte.count;
    if (plane.type == EXR_PIXEL_FLOAT) has_floats[is_aux] = true;
    if (plane.type == EXR_PIXEL_HALF) has_halves[is_aux] = true;
  }
  if (!has_halves[0] && !has_halves[1]) return;
  if (!has_floats[0] && !has_floats[1]) {
    note(codec, "its samples are halves (setting samples: half)");
  } else if (!has_floats[0] && !has_halves[1]) {
    note(codec, "its colours and mattes are halves (setting samples: half-colours)");
  } else {
    note(codec, "some of its channels are halves, in a way that no setting stores");
  }
}

bool take_planes(std::span<const Channel> channels, Part& part) {
  part.planes = make_zeroed<Plane>(channels.size()).release();
  if (!part.planes) return false;
  part.plane_count = static_cast<int32_t>(channels.size());
  for (size_t i = 0; i < channels.size(); ++i) {
    part.planes[i] = {channels[i].name, channels[i].type, channels[i].row, 0};
  }
  return true;
}

// ---- Chunks ----

bool take_tiles(Codec& codec, int32_t index, Part& part) {
  uint32_t width = 0;
  uint32_t height = 0;
  exr_tile_level_mode_t levels = EXR_TILE_ONE_LEVEL;
  exr_tile_round_mode_t rounding = EXR_TILE_ROUND_DOWN;
  if (!pass_on(codec, exr_get_tile_descriptor(codec.context, index, &width, &height, &levels, &rounding))) {
    return false;
  }
  if (width < 1 || width > INT32_MAX || height < 1 || height > INT32_MAX) {
    return refuse_part(codec, "the size of its tiles is out of range");
  }
  part.band.tile_width = static_cast<int32_t>(width);
  part.band.lines = static_cast<int32_t>(height);
  part.band.across = static_cast<int32_t>((plugin::width_of(part.place.active) - 1) / width + 1);
  if (levels != EXR_TILE_ONE_LEVEL) note(codec, "only its largest level is read");
  return true;
}

bool take_band(Codec& codec, int32_t index, Part& part) {
  exr_storage_t storage = EXR_STORAGE_SCANLINE;
  static_cast<void>(exr_get_storage(codec.context, index, &storage));
  part.band.width = static_cast<int32_t>(plugin::width_of(part.place.active));
  if (storage == EXR_STORAGE_TILED) {
    if (!take_tiles(codec, index, part)) return false;
  } else if (!pass_on(codec, exr_get_scanlines_per_chunk(codec.context, index, &part.band.lines))) {
    return false;
  }
  const int64_t height = plugin::height_of(part.place.active);
  part.band.lines = static_cast<int32_t>(std::min<int64_t>(part.band.lines, height));
  return (part.band.lines > 0 && lay_out_band(part)) || refuse_part(codec, "its rows are too long");
}

}  // namespace

bool has_pixels(const ORB_WINDOW& window) {
  const int64_t width = plugin::width_of(window);
  const int64_t height = plugin::height_of(window);
  return width > 0 && height > 0 && width <= INT32_MAX && height <= INT32_MAX;
}

bool lies_within(const ORB_WINDOW& inner, const ORB_WINDOW& outer) {
  return inner.left >= outer.left && inner.right <= outer.right && inner.bottom >= outer.bottom &&
         inner.top <= outer.top;
}

bool is_same(const ORB_WINDOW& a, const ORB_WINDOW& b) { return lies_within(a, b) && lies_within(b, a); }

ORB_WINDOW united(const ORB_WINDOW& a, const ORB_WINDOW& b) {
  return {std::min(a.left, b.left), std::max(a.right, b.right), std::min(a.bottom, b.bottom),
          std::max(a.top, b.top)};
}

bool lay_out_band(Part& part) {
  // Halves last: every plane begins where its samples may, whatever the width.
  for (const uint64_t sample_bytes : {uint64_t{4}, uint64_t{2}}) {
    for (int32_t i = 0; i < part.plane_count; ++i) {
      if (part.planes[i].sample_bytes() != sample_bytes) continue;
      part.planes[i].offset_pixels = part.band.pixel_bytes;
      part.band.pixel_bytes += sample_bytes;
    }
  }
  return part.band.width <= INT32_MAX / 4;
}

bool is_within_limits(const Part& part, const ORB_IFD& ifd, const char* call) {
  const auto pixels = static_cast<uint64_t>(plugin::width_of(ifd.window));
  const uint64_t row_bytes =
      (static_cast<uint64_t>(ifd.color.count) + static_cast<uint64_t>(ifd.matte.count)) * pixels * 4 +
      static_cast<uint64_t>(ifd.aux.count) * pixels * (ifd.aux.type == ORB_C_DOUBLE ? 8 : 4);
  const uint64_t band_bytes = part.band.bytes();
  // The codec library's own: a chunk as it is stored, unpacked, and two on their way.
  return orb__within_limit(ORB_LIMIT_BUFFER, std::max(row_bytes, band_bytes), call) != 0 &&
         orb__within_limit(ORB_LIMIT_HANDLE, row_bytes + 5 * band_bytes, call) != 0;
}

bool take_part(Codec& codec, int32_t index, Part& part, ORB_IFD& ifd) {
  owned<Channel> channels;
  int32_t count = 0;
  if (refuse_storage(codec, index) || !check_compression(codec, index) ||
      !take_place(codec, index, part.place) || !take_channels(codec, index, channels, count)) {
    return false;
  }
  const std::span<Channel> all(channels.get(), static_cast<size_t>(count));
  if (!describe_channels(codec, all, ifd) || !take_planes(all, part) || !take_band(codec, index, part)) {
    return false;
  }
  exr_lineorder_t order = EXR_LINEORDER_INCREASING_Y;
  static_cast<void>(exr_get_lineorder(codec.context, index, &order));
  ifd.orientation = order == EXR_LINEORDER_DECREASING_Y ? ORB_BOTTOM_UP : 0;
  describe_place(codec, part.place, ifd);
  remark_on_halves(codec, part, ifd);
  return is_within_limits(part, ifd, kCall);
}

}  // namespace orb::exr
