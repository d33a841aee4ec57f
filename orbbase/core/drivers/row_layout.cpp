#include "orbbase/core/drivers/row_layout.h"

#include <cstring>

#include "orbbase/driver.h"
#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

struct GroupRule {
  ORB_CHANNELS ORB_IFD::*group;
  int32_t bad_type;
  int32_t too_wide;
  int32_t most_bits;
};

constexpr GroupRule kGroupRules[4] = {
    {&ORB_IFD::color, ORB_MSG_IMAGE_TYPE, ORB_MSG_IMAGE_WIDTH, 32},
    {&ORB_IFD::matte, ORB_MSG_MATTE_TYPE, ORB_MSG_MATTE_WIDTH, 32},
    {&ORB_IFD::aux, ORB_MSG_AUX_TYPE, ORB_MSG_AUX_WIDTH, 32},
    {&ORB_IFD::index, ORB_MSG_INDEX_TYPE, ORB_MSG_INDEX_WIDTH, 16},
};

int32_t refuse(int32_t message, const char* key) {
  orb__report(message, key);
  return fail(ORB_E_HANDLE);
}

uint32_t integer_bytes(int32_t width) { return width <= 8 ? 1 : width <= 16 ? 2 : 4; }

int32_t lay_out_group(const ORB_CHANNELS& group, const GroupRule& rule, const char* key,
                      RowLayout::Group& out) {
  const bool is_index = rule.group == &ORB_IFD::index;
  if (group.count < 0) return refuse(ORB_MSG_CANNOT_HANDLE, key);
  out.channels = group.count;
  if (group.type == ORB_C_INTEGER) {
    if (group.width > rule.most_bits) return refuse(rule.too_wide, key);
    out.sample_bytes = is_index ? 2 : integer_bytes(group.width);
  } else if (is_index || (group.type != ORB_C_FLOAT && group.type != ORB_C_DOUBLE)) {
    return refuse(rule.bad_type, key);
  } else {
    out.sample_bytes = group.type == ORB_C_FLOAT ? 4 : 8;
  }
  return ORB_OK;
}

// Whether a row array of allocate_rows holds the packed samples as they are, from its first row on.
bool rows_are_packed(const RowLayout& layout) {
  if (layout.channels == 0 || layout.active_width() != layout.width()) return false;
  for (const RowLayout::Group& group : layout.groups) {
    const uint64_t bytes = static_cast<uint64_t>(layout.width()) * group.sample_bytes;
    if (group.channels > 0 && bytes % kSampleAlignment != 0) return false;
  }
  return true;
}

bool has_pixels(const ORB_WINDOW& window) {
  return window.left <= window.right && window.bottom <= window.top;
}

bool lies_within(const ORB_WINDOW& inner, const ORB_WINDOW& outer) {
  return inner.left >= outer.left && inner.right <= outer.right && inner.bottom >= outer.bottom &&
         inner.top <= outer.top;
}

uint64_t row_bytes(const RowLayout& layout, const RowLayout::Group& group) {
  const uint64_t bytes = static_cast<uint64_t>(layout.width()) * group.sample_bytes;
  return (bytes + kSampleAlignment - 1) / kSampleAlignment * kSampleAlignment;
}

uint64_t pointer_bytes(const RowLayout& layout) {
  return static_cast<uint64_t>(layout.channels) * sizeof(void*);
}

// No product here overflows: lay_out_rows has seen to it.
uint64_t buffer_bytes(const RowLayout& layout) {
  uint64_t bytes = pointer_bytes(layout) + kSampleAlignment;
  for (const RowLayout::Group& group : layout.groups) {
    bytes += static_cast<uint64_t>(group.channels) * row_bytes(layout, group);
  }
  return bytes;
}

}  // namespace

bool windows_are_sound(const ORB_IFD& ifd) {
  return has_pixels(ifd.window) && has_pixels(ifd.active_window) &&
         lies_within(ifd.active_window, ifd.window) &&
         int64_t{ifd.window.right} - ifd.window.left < INT32_MAX;
}

int32_t lay_out_rows(ORB_IFD& ifd, const char* key, const char* call, RowLayout& layout_out) {
  if (ifd.color.count != 0) ifd.index.count = 0;
  RowLayout layout = {};
  int64_t channels = 0;
  for (int i = 0; i < 4; ++i) {
    const int32_t code = lay_out_group(ifd.*kGroupRules[i].group, kGroupRules[i], key, layout.groups[i]);
    if (code != ORB_OK) return code;
    channels += layout.groups[i].channels;
  }
  if (!windows_are_sound(ifd)) return refuse(ORB_MSG_CANNOT_HANDLE, key);
  if (!orb__within_limit(ORB_LIMIT_CHANNELS, static_cast<uint64_t>(channels), call)) return ORB_E_MEMORY;
  if (channels > INT32_MAX) return refuse(ORB_MSG_CANNOT_HANDLE, key);  // with the limit raised so far
  layout.channels = static_cast<int32_t>(channels);
  layout.window = ifd.window;
  layout.active = ifd.active_window;
  layout.bottom_up = (ifd.orientation & ORB_BOTTOM_UP) != 0;
  // With the widest samples and their alignment still no overflow, whatever the limits were raised to.
  if (static_cast<uint64_t>(channels) > UINT64_MAX / 64 / static_cast<uint64_t>(layout.width())) {
    orb__within_limit(ORB_LIMIT_BUFFER, UINT64_MAX, call);
    return fail(ORB_E_MEMORY);
  }
  for (const RowLayout::Group& group : layout.groups) {
    layout.packed_bytes += static_cast<uint64_t>(group.channels) *
                           (static_cast<uint64_t>(layout.active_width()) * group.sample_bytes);
  }
  layout.is_packed = rows_are_packed(layout);
  if (!orb__within_limit(ORB_LIMIT_BUFFER, buffer_bytes(layout), call)) return ORB_E_MEMORY;
  layout_out = layout;
  return ORB_OK;
}

void** allocate_rows(const RowLayout& layout, uint64_t& held_bytes, const char* call, uint64_t slack_bytes) {
  const uint64_t bytes = buffer_bytes(layout) + slack_bytes;
  if (!orb__within_limit(ORB_LIMIT_BUFFER, bytes, call)) return nullptr;
  if (!orb__within_limit(ORB_LIMIT_HANDLE, held_bytes + bytes, call)) return nullptr;
  uint8_t* block = static_cast<uint8_t*>(allocate(bytes));
  if (!block) {
    set_error(ORB_E_MEMORY);
    return nullptr;
  }
  held_bytes += bytes;
  void** rows = reinterpret_cast<void**>(block);
  uint8_t* row = aligned_samples(block + pointer_bytes(layout));
  int32_t channel = 0;
  for (const RowLayout::Group& group : layout.groups) {
    for (int32_t i = 0; i < group.channels; ++i, row += row_bytes(layout, group)) rows[channel++] = row;
  }
  return rows;
}

void zero_pads(const RowLayout& layout, void* const* rows) {
  const int64_t left = layout.left_pad();
  const int64_t right = int64_t{layout.window.right} - layout.active.right;
  if (left == 0 && right == 0) return;
  int32_t channel = 0;
  for (const RowLayout::Group& group : layout.groups) {
    const size_t left_bytes = static_cast<size_t>(left) * group.sample_bytes;
    const size_t right_bytes = static_cast<size_t>(right) * group.sample_bytes;
    const size_t all_bytes = static_cast<size_t>(layout.width()) * group.sample_bytes;
    for (int32_t i = 0; i < group.channels; ++i, ++channel) {
      uint8_t* row = static_cast<uint8_t*>(rows[channel]);
      std::memset(row, 0, left_bytes);
      std::memset(row + all_bytes - right_bytes, 0, right_bytes);
    }
  }
}

void zero_rows(const RowLayout& layout, void* const* rows) {
  int32_t channel = 0;
  for (const RowLayout::Group& group : layout.groups) {
    for (int32_t i = 0; i < group.channels; ++i, ++channel) {
      std::memset(rows[channel], 0, static_cast<size_t>(layout.width()) * group.sample_bytes);
    }
  }
}

}  // namespace orb
