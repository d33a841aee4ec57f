// Descriptions of the test modules' pictures: one 8-bit colour channel, 4 samples a row.
#pragma once

#include <string>

#include "orbbase/core.h"

namespace orb::testing {

// A description that lends its texts. Not to be copied: the record points into it.
struct Description {
  explicit Description(const char* file_name, const char* key = nullptr) {
    ORB_info_init(&info);
    info.handle = const_cast<char*>(file_name);
    info.key = const_cast<char*>(key);
  }
  ~Description() { ORB_info_cleanup(&info, 0); }
  Description(const Description&) = delete;
  Description& operator=(const Description&) = delete;

  // One image of these rows.
  Description& rows(int32_t bottom, int32_t top, uint32_t orientation = ORB_BOTTOM_UP) {
    ifd = {};
    ifd.curve.kind = ORB_CURVE_GAMMA;
    ifd.window = ifd.active_window = {0, 3, bottom, top};
    ifd.orientation = orientation;
    ifd.color = {nullptr, 1, ORB_C_INTEGER, 8};
    ifd.matte = ifd.aux = {nullptr, 0, ORB_C_INTEGER, 8};
    ifd.index = {nullptr, 0, ORB_C_INTEGER, 16};
    info.images = &ifd;
    info.image_count = 1;
    return *this;
  }

  ORB_IMAGE* open(const char* mode) { return ORB_open(&info, mode); }

  ORB_INFO info;
  ORB_IFD ifd = {};
};

// The first sample of a row, or -1 when it cannot be read.
inline int read_sample(ORB_IMAGE* image, int32_t line) {
  void** rows = nullptr;
  if (ORB_scan_read(image, line, &rows) != 0) return -1;
  return static_cast<const uint8_t*>(rows[0])[0];
}

// A settings list to hand over to ORB_open.
inline ORB_CAP_SETTING** one_setting(int32_t value) {
  ORB_CAP_SETTING setting = {};
  setting.value.integer = value;
  ORB_CAP_SETTING* list[] = {&setting, nullptr};
  return ORB_cap_setting_copy(list);
}

}  // namespace orb::testing
