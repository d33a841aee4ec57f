// An open image that closes itself.
#include "image.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "orbbase/support/err.h"
#include "reports.h"

namespace orb::tool {

namespace {

// The library says that a file stored from the bottom up stands at row -1, wherever its rows begin, and ORB_seek would
// go on from there.
void stand_before_first_row(ORB_IMAGE& image) {
  if (image.info.image_count < 1 || image.current_line != -1) return;
  const ORB_IFD& ifd = image.info.images[0];
  const bool is_bottom_up = (ifd.orientation & ORB_BOTTOM_UP) != 0;
  if (is_bottom_up && ifd.window.bottom < 0 && ifd.window.bottom > INT32_MIN) {
    image.current_line = ifd.window.bottom - 1;
  }
}

}  // namespace

Image::~Image() { abandon(); }

bool Image::close() {
  ORB_IMAGE* const handle = std::exchange(handle_, nullptr);
  return handle == nullptr || ORB_close(handle) == 0;
}

void Image::abandon() {
  const Muted muted(ERR_FATAL);
  const int32_t code = orb__err;  // of what made it to be abandoned
  static_cast<void>(close());
  orb__err = code;
}

Image open_for_reading(const std::string& name, const ORB_FORMAT& format, const DriverSettings& settings) {
  std::string key = format.key;
  std::string file = name;
  ORB_INFO wanted;
  ORB_info_init(&wanted);
  wanted.key = key.data();
  wanted.handle = file.data();
  wanted.open_option = 1;
  Image image(settings.open(wanted, "r"));
  if (image) stand_before_first_row(*image.get());
  ORB_info_cleanup(&wanted, 0);
  return image;
}

void go_to_frame(const Image& image, int32_t frame, const std::string& name) {
  forget_errors();
  if (ORB_set_frame(image.get(), frame, 0, 0) == 0) return;
  fail_as_reported(name + ": cannot go to frame " + std::to_string(frame));
}

bool is_missing(const std::string& name, const ORB_FORMAT& format) {
  struct stat status = {};
  return std::strcmp(format.key, "mem") != 0 && stat(name.c_str(), &status) != 0 && errno == ENOENT;
}

int64_t width_of(const ORB_WINDOW& window) { return int64_t{window.right} - window.left + 1; }
int64_t height_of(const ORB_WINDOW& window) { return int64_t{window.top} - window.bottom + 1; }

std::string window_text(const ORB_WINDOW& w) {
  return "columns " + std::to_string(w.left) + " to " + std::to_string(w.right) + ", rows " +
         std::to_string(w.bottom) + " to " + std::to_string(w.top);
}

}  // namespace orb::tool
