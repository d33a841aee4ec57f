#include "layout.h"

#include <png.h>

#include "codec.h"

namespace orb::png {
namespace {

bool is_packed_width(int32_t width) { return width == 1 || width == 2 || width == 4; }

bool check_group(const ORB_CHANNELS& group, int32_t bad_type, int32_t bad_width) {
  if (group.type != ORB_C_INTEGER) return refuse(bad_type, kKey);
  if (group.width < 1 || group.width > 16) return refuse(bad_width, kKey);
  return true;
}

bool choose_for_indices(const ORB_IFD& ifd, Layout* out) {
  if (ifd.index.count != 1 || ifd.matte.count != 0) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  if (ifd.index.type != ORB_C_INTEGER) return refuse(ORB_MSG_INDEX_TYPE, kKey);
  const int32_t width = ifd.index.width;
  if (!is_packed_width(width) && width != 8) return refuse(ORB_MSG_INDEX_WIDTH, kKey);
  *out = {0, 0, true, width, width, PNG_COLOR_TYPE_PALETTE, 1};
  return true;
}

}  // namespace

int32_t depth_for(int32_t width, int32_t file_samples) {
  if (file_samples == 1 && is_packed_width(width)) return width;
  return width <= 8 ? 8 : 16;
}

bool choose_layout(const ORB_IFD& ifd, Layout* out) {
  if (ifd.aux.count != 0) return refuse(ORB_MSG_AUX_TYPE, kKey);
  if (ifd.color.count == 0 && ifd.index.count > 0) return choose_for_indices(ifd, out);
  if (ifd.color.count != 1 && ifd.color.count != 3) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  if (ifd.matte.count < 0 || ifd.matte.count > 1) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  if (!check_group(ifd.color, ORB_MSG_IMAGE_TYPE, ORB_MSG_IMAGE_WIDTH)) return false;
  if (ifd.matte.count != 0) {
    if (!check_group(ifd.matte, ORB_MSG_MATTE_TYPE, ORB_MSG_MATTE_WIDTH)) return false;
    if (ifd.matte.width != ifd.color.width) return refuse(ORB_MSG_MATTE_WIDTH, kKey);
  }
  const int32_t file_samples = ifd.color.count + ifd.matte.count;
  const int32_t color_type =
      (ifd.color.count == 3 ? PNG_COLOR_MASK_COLOR : 0) | (ifd.matte.count != 0 ? PNG_COLOR_MASK_ALPHA : 0);
  *out = {ifd.color.count, ifd.matte.count, false, ifd.color.width, depth_for(ifd.color.width, file_samples),
          color_type,      file_samples};
  return true;
}

}  // namespace orb::png
