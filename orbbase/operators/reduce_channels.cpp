#include "orbbase/operators/reduce_channels.h"

#include <algorithm>
#include <cstring>

#include "orbbase/driver.h"
#include "orbbase/operators/reduce_plan.h"

namespace orb::reduce {
namespace {

constexpr int32_t kMostTableBits = 16;
constexpr int32_t kUnsaidBits = 8;  // of a width of 0 or less

int32_t refuse(int32_t message, const char* name) {
  orb__report(message, name);
  return fail(ORB_E_HANDLE);
}

int32_t bits_of(const ORB_CHANNELS& group) { return group.width < 1 ? kUnsaidBits : group.width; }

bool has_code_table(const ORB_CHANNELS& group) {
  return group.type == ORB_C_INTEGER && bits_of(group) <= kMostTableBits;
}

// Whether the curve says something of each sample.
bool serves(const ORB_IFD& ifd) {
  const ORB_RESPONSE_CURVE& curve = ifd.curve;
  if (curve.kind == ORB_CURVE_GAMMA) return true;
  if (curve.kind != ORB_CURVE_TABLE || !curve.tables || curve.channel_count < 1 || curve.resolution < 1) {
    return false;
  }
  if (!has_code_table(ifd.color)) return false;
  return curve.curve_type == ORB_C_FLOAT ||
         (curve.curve_type == ORB_C_INTEGER && curve.depth >= 8 && curve.depth <= 16);
}

Form form_of(const ORB_IFD& ifd) {
  if (ifd.curve.kind == ORB_CURVE_GAMMA && usable_gamma(ifd.curve) == 1.0) return Form::code;
  return has_code_table(ifd.color) ? Form::table : Form::power;
}

// One table for all channels of a gamma, else one a channel.
int32_t count_tables(const ORB_IFD& ifd) {
  if (form_of(ifd) != Form::table || ifd.color.count == 0) return 0;
  return ifd.curve.kind == ORB_CURVE_GAMMA ? 1 : std::min(ifd.color.count, ifd.curve.channel_count);
}

bool make_tables(const ORB_IFD& ifd, Picture& picture) {
  const int32_t wanted = count_tables(ifd);
  picture.tables = make_zeroed<CodeTable*>(static_cast<uint64_t>(wanted) + 1).release();
  if (!picture.tables) return fail(ORB_E_MEMORY), false;
  for (; picture.table_count < wanted; ++picture.table_count) {
    CodeTable* const table = make_code_table(ifd.curve, picture.table_count, bits_of(ifd.color)).release();
    if (!table) return fail(ORB_E_MEMORY), false;
    picture.tables[picture.table_count] = table;
  }
  return true;
}

void fill_group(const ORB_CHANNELS& group, Form form, const Light& light, Picture& picture,
                int32_t& channel) {
  for (int32_t i = 0; i < group.count; ++i, ++channel) {
    picture.channels[channel] = {&row_functions(group.type, group.width, form), light};
    if (form != Form::table) continue;
    picture.channels[channel].light.codes = picture.tables[std::min(i, picture.table_count - 1)];
  }
}

void fill_channels(const ORB_IFD& ifd, Picture& picture) {
  int32_t channel = 0;
  Light light = {};
  light.exponent = usable_gamma(ifd.curve);
  light.largest =
      ifd.color.type == ORB_C_INTEGER ? static_cast<double>((uint64_t{1} << bits_of(ifd.color)) - 1) : 1.0;
  fill_group(ifd.color, form_of(ifd), light, picture, channel);
  fill_group(ifd.matte, Form::code, {}, picture, channel);
  fill_group(ifd.aux, Form::code, {}, picture, channel);
}

// The longest row that a channel has, in bytes.
uint64_t longest_row(const RowLayout& layout) {
  uint64_t sample_bytes = 1;
  for (const RowLayout::Group& group : layout.groups) {
    if (group.channels > 0) sample_bytes = std::max<uint64_t>(sample_bytes, group.sample_bytes);
  }
  return static_cast<uint64_t>(layout.width()) * sample_bytes;
}

bool is_all_active(const RowLayout& layout) {
  return layout.active_width() == layout.width() && layout.active.bottom == layout.window.bottom &&
         layout.active.top == layout.window.top;
}

}  // namespace

int32_t prepare(const ORB_IFD& full, const char* name, Picture& picture) {
  ORB_IFD ifd = full;  // the layout drops indices beside colours
  if (ifd.color.count == 0 && ifd.index.count > 0) return refuse(ORB_MSG_IMAGE_TYPE, name);
  const int32_t code = lay_out_rows(ifd, name, name, picture.layout);
  if (code != ORB_OK) return code;
  if (ifd.color.count > 0 && !serves(ifd)) return refuse(ORB_MSG_CANNOT_HANDLE, name);
  picture.channel_count = picture.layout.channels;
  picture.channels = make_zeroed<Channel>(static_cast<uint64_t>(picture.channel_count) + 1).release();
  if (!picture.channels) return fail(ORB_E_MEMORY);
  if (!make_tables(ifd, picture)) return ORB_E_MEMORY;
  fill_channels(ifd, picture);
  if (is_all_active(picture.layout)) return ORB_OK;
  picture.padded = make_zeroed<uint8_t>(longest_row(picture.layout)).release();
  return picture.padded ? ORB_OK : fail(ORB_E_MEMORY);
}

void release(Picture& picture) {
  for (int32_t i = 0; i < picture.table_count; ++i) ERR_free(picture.tables[i]);
  ERR_free(picture.tables);
  ERR_free(picture.channels);
  ERR_free(picture.padded);
}

int64_t inactive_rows(const RowLayout& layout, int64_t row, int64_t step) {
  const int64_t line = layout.window.bottom + row;
  if (line < layout.active.bottom) return step > 0 ? layout.active.bottom - line : row + 1;
  if (line > layout.active.top) return step > 0 ? layout.window.top - line + 1 : line - layout.active.top;
  return 0;
}

const uint8_t* active_samples(const Picture& picture, int32_t channel, int32_t line, void* const* rows) {
  if (!picture.padded) return static_cast<const uint8_t*>(rows[channel]);
  const RowLayout& layout = picture.layout;
  const size_t sample_bytes = picture.channels[channel].rows->sample_bytes;
  const size_t width = static_cast<size_t>(layout.width()) * sample_bytes;
  std::memset(picture.padded, 0, width);
  if (!layout.has_active_line(line)) return picture.padded;
  const size_t left = static_cast<size_t>(layout.left_pad()) * sample_bytes;
  const size_t active = static_cast<size_t>(layout.active_width()) * sample_bytes;
  std::memcpy(picture.padded + left, static_cast<const uint8_t*>(rows[channel]) + left, active);
  return picture.padded;
}

owned<uint8_t> allocate_lights(const Picture& picture, uint64_t samples_a_channel, uint64_t shared_samples,
                               const char* name) {
  constexpr uint64_t kMostSamples = UINT64_MAX / 4 / kMostLightBytes;
  const auto channels = static_cast<uint64_t>(picture.channel_count);
  const bool overflows =
      channels > 0 && (samples_a_channel > kMostSamples / channels || shared_samples > kMostSamples);
  const uint64_t samples = std::max<uint64_t>(1, samples_a_channel * channels + shared_samples);
  const uint64_t bytes = overflows ? UINT64_MAX : samples * kMostLightBytes;
  if (!orb__within_limit(ORB_LIMIT_BUFFER, bytes, name)) return nullptr;
  owned<uint8_t> rows(static_cast<uint8_t*>(allocate(bytes)));
  if (!rows) set_error(ORB_E_MEMORY);
  return rows;
}

void** allocate_samples(const ORB_IFD& reduced, const char* name) {
  ORB_IFD ifd = reduced;
  return ORB_chan_alloc(&ifd, static_cast<int32_t>(width_of(reduced)), name, nullptr);
}

}  // namespace orb::reduce
