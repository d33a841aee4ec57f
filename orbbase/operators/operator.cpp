// What the operators share: applicability, reading without a state, removal.
#include "orbbase/operators/operator.h"

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

}  // namespace

bool can_carry(const char* name, const ORB_IMAGE* image, uint32_t mode) {
  set_error(ORB_OK);
  if (!image || !image->scan || !driver_data(image)) return fail(ORB_E_HANDLE), false;
  if (check_image_count(name, *image, 0) != ORB_OK) return false;
  if (image->mode == mode && windows_are_sound(image->info.images[0])) return true;
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

int32_t locked_sub_image() {
  report(kLockedSubImage);
  return -1;
}

}  // namespace orb::op
