// What the operators share: applicability, reading without a state, removal.
#include "orbbase/operators/operator.h"

#include <algorithm>

#include "orbbase/core/drivers/row_layout.h"
#include "orbbase/driver.h"

namespace orb::op {
namespace {

constexpr MessageText kMultipleImages = {902, 61, ERR_ERROR, "%s cannot store multiple images"};
constexpr MessageText kLockedSubImage = {902, 1201, ERR_ERROR,
                                         "Cannot access sub image (attempted to access a locked sub image)"};

constexpr int32_t kMostBits = 8;

constexpr const GroupRule& kColor = kGroupRules[0];
constexpr const GroupRule& kMatte = kGroupRules[1];
constexpr const GroupRule& kAux = kGroupRules[2];

int32_t refuse(int32_t message, const char* name) {
  orb__report(message, name);
  return fail(ORB_E_HANDLE);
}

int32_t check_group(const char* name, const ORB_IMAGE& image, int32_t index, const GroupRule& rule) {
  const int32_t code = check_image_count(name, image, index);
  if (code != ORB_OK) return code;  // there is no descriptor to look at
  const ORB_CHANNELS& group = image.info.images[index].*rule.group;
  if (group.type != ORB_C_INTEGER) return refuse(rule.bad_type, name);
  if (group.width > kMostBits) return refuse(rule.bad_width, name);
  return ORB_OK;
}

// As many rows will be walked, on the driver's word.
bool counts_are_sound(const char* name, const ORB_IFD& ifd) {
  const int32_t counts[] = {ifd.color.count, ifd.matte.count, ifd.aux.count,
                            ifd.color.count == 0 ? ifd.index.count : 0};
  uint64_t channels = 0;
  for (const int32_t count : counts) {
    if (count < 0) return refuse(ORB_MSG_CANNOT_HANDLE, name), false;
    channels += static_cast<uint64_t>(count);
  }
  return orb__within_limit(ORB_LIMIT_CHANNELS, channels, name) != 0;
}

}  // namespace

bool can_carry(const char* name, const ORB_IMAGE* image, uint32_t mode) {
  set_error(ORB_OK);
  if (!image || !image->scan || !driver_data(image)) return fail(ORB_E_HANDLE), false;
  if (check_image_count(name, *image, 0) != ORB_OK) return false;
  const ORB_IFD& ifd = image->info.images[0];
  if (image->mode == mode && windows_are_sound(ifd)) return counts_are_sound(name, ifd);
  return refuse(ORB_MSG_CANNOT_HANDLE, name), false;
}

ActiveSpan active_span(const ORB_IFD& ifd) {
  return {static_cast<size_t>(int64_t{ifd.active_window.left} - ifd.window.left),
          static_cast<size_t>(int64_t{ifd.active_window.right} - ifd.active_window.left + 1)};
}

int32_t check_image_count(const char* name, const ORB_IMAGE& image, int32_t index) {
  set_error(ORB_OK);
  if (image.info.images && index >= 0 && index < image.info.image_count) return ORB_OK;
  report(kMultipleImages, name);
  return fail(ORB_E_HANDLE);
}

int32_t check_color(const char* name, const ORB_IMAGE& image, int32_t index) {
  return check_group(name, image, index, kColor);
}
int32_t check_matte(const char* name, const ORB_IMAGE& image, int32_t index) {
  return check_group(name, image, index, kMatte);
}
int32_t check_aux(const char* name, const ORB_IMAGE& image, int32_t index) {
  return check_group(name, image, index, kAux);
}

bool has_rows(void* const* rows, int32_t channels, int32_t line) {
  if (rows && std::find(rows, rows + channels, nullptr) == rows + channels) return true;
  orb__report(ORB_MSG_CANNOT_READ_LINE, line, "the driver gave out no rows");
  return fail(ORB_E_READ), false;
}

int32_t read_below(const Layer& layer, int32_t line, void*** rows_out, int32_t channels) {
  const int32_t result = scan_below(layer, line, rows_out);
  if (result < 0) return result;
  return has_rows(*rows_out, channels, line) ? ORB_OK : ORB_E_READ;
}

int32_t locked_sub_image() {
  report(kLockedSubImage);
  return -1;
}

}  // namespace orb::op
