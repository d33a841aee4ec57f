// Which TIFF holds the groups of a description.
#include <algorithm>

#include "metadata.h"
#include "orbbase/driver.h"
#include "write.h"

namespace orb::tiff {
namespace {

constexpr uint64_t kStripBytes = 64U << 10;

bool refuse(int32_t message) { return plugin::refuse(message, kKey); }

int32_t bits_of(const ORB_CHANNELS& group) {
  return group.type == ORB_C_INTEGER ? group.width : group.type == ORB_C_DOUBLE ? 64 : 32;
}

bool is_known_type(uint32_t type) {
  return type == ORB_C_INTEGER || type == ORB_C_FLOAT || type == ORB_C_DOUBLE;
}

// All samples of a pixel are of one type and width.
bool check_group(const ORB_CHANNELS& first, const ORB_CHANNELS& group, int32_t bad_type, int32_t bad_width) {
  if (group.count == 0) return true;
  if (!is_known_type(group.type) || group.type != first.type) return refuse(bad_type);
  const int32_t bits = bits_of(group);
  const bool fits = group.type != ORB_C_INTEGER || (bits >= 1 && bits <= 32);
  return (fits && bits == bits_of(first)) || refuse(bad_width);
}

bool choose_for_indices(const ORB_IFD& ifd, WriteLayout& out) {
  if (ifd.index.count != 1 || ifd.matte.count != 0 || ifd.aux.count != 0)
    return refuse(ORB_MSG_CANNOT_HANDLE);
  if (ifd.index.type != ORB_C_INTEGER) return refuse(ORB_MSG_INDEX_TYPE);
  if (ifd.index.width < 1 || ifd.index.width > 16) return refuse(ORB_MSG_INDEX_WIDTH);
  out.has_indices = true;
  out.bits = ifd.index.width;
  return true;
}

bool choose_for_colours(const ORB_IFD& ifd, const Settings& settings, WriteLayout& out) {
  const int32_t colours = ifd.color.count;
  if (colours != 1 && colours != 3 && colours != 4) return refuse(ORB_MSG_CANNOT_HANDLE);
  if (ifd.matte.count < 0 || ifd.matte.count > 1 || ifd.aux.count < 0) return refuse(ORB_MSG_CANNOT_HANDLE);
  if (ifd.aux.count > UINT16_MAX - 5) return refuse(ORB_MSG_CANNOT_HANDLE);
  if (!check_group(ifd.color, ifd.color, ORB_MSG_IMAGE_TYPE, ORB_MSG_IMAGE_WIDTH) ||
      !check_group(ifd.color, ifd.matte, ORB_MSG_MATTE_TYPE, ORB_MSG_MATTE_WIDTH) ||
      !check_group(ifd.color, ifd.aux, ORB_MSG_AUX_TYPE, ORB_MSG_AUX_WIDTH)) {
    return false;
  }
  out.colours = colours;
  out.mattes = ifd.matte.count;
  out.aux = ifd.aux.count;
  out.bits = bits_of(ifd.color);
  if (ifd.color.type != ORB_C_INTEGER) out.sample_format = SAMPLEFORMAT_IEEEFP;
  out.is_separate = settings.alpha == Alpha::separate ||
                    (settings.alpha == Alpha::as_named && plugin::has_matte_named(ifd, kSeparate));
  return true;
}

// Only a side that a 32-bit signed number counts can be read back into a window.
bool take_size(const ORB_WINDOW& window, WriteLayout& out) {
  const int64_t width = plugin::width_of(window);
  const int64_t height = plugin::height_of(window);
  const auto is_side = [](int64_t pixels) { return pixels >= 1 && pixels <= INT32_MAX; };
  if (!is_side(width) || !is_side(height)) return refuse(ORB_MSG_CANNOT_HANDLE);
  out.width = static_cast<uint32_t>(width);
  out.height = static_cast<uint32_t>(height);
  const uint64_t samples = static_cast<uint64_t>(out.samples());
  out.row_bytes = (out.width * samples * static_cast<uint64_t>(out.bits) + 7) / 8;
  const uint64_t rows = std::max<uint64_t>(kStripBytes / out.row_bytes, 1);
  out.strip_rows = static_cast<uint32_t>(std::min<uint64_t>(rows, out.height));
  return true;
}

}  // namespace

bool choose_layout(const ORB_IFD& ifd, const Settings& settings, WriteLayout* out) {
  WriteLayout layout = {};
  layout.sample_format = SAMPLEFORMAT_UINT;
  const bool is_chosen = ifd.color.count == 0 && ifd.index.count > 0
                             ? choose_for_indices(ifd, layout)
                             : choose_for_colours(ifd, settings, layout);
  if (!is_chosen || !take_size(ifd.window, layout)) return false;
  layout.form = form_of(SAMPLEFORMAT_UINT, layout.bits);  // floating-point samples go as they are
  *out = layout;
  return true;
}

}  // namespace orb::tiff
