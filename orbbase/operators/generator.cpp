// What the generators share.
#include "orbbase/operators/generator.h"

#include "orbbase/driver.h"

namespace orb::imp {

std::nullptr_t refuse(const char* name) {
  orb__report(ORB_MSG_CANNOT_HANDLE, name);
  set_error(ORB_E_HANDLE);
  return nullptr;
}

bool is_sound(const IMP_PROCESS& process, const char* name) {
  if (process.size >= 0 && process.levels >= 0 && process.filter == 0) return true;
  refuse(name);
  return false;
}

int32_t bad_scanline(int32_t line) {
  orb__report(ORB_MSG_BAD_SCANLINE, line);
  return fail(ORB_E_SCANLINE);
}

void show(ORB_IMAGE& image, ORB_IFD* images, int32_t image_count, Description& before) {
  before = {image.info.images, image.info.image_count, image.current_line};
  image.info.images = images;
  image.info.image_count = image_count;
  set_current_line(&image, line_before_first(images[0]));
}

void put_back(ORB_IMAGE& image, const Description& before) {
  image.info.images = before.images;
  image.info.image_count = before.image_count;
  set_current_line(&image, before.current_line);
}

}  // namespace orb::imp
