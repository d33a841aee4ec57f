// An open image that closes itself.
#include "image.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "at_work.h"
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

bool is_possible(const ORB_IFD& ifd) {
  for (const ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index}) {
    if (group->count < 0 || group->type < ORB_C_INTEGER || group->type > ORB_C_DOUBLE) return false;
  }
  const int64_t channels = int64_t{ifd.color.count} + ifd.matte.count + ifd.aux.count + ifd.index.count;
  for (const ORB_WINDOW& window : {ifd.window, ifd.active_window}) {
    if (width_of(window) < 1 || height_of(window) < 1 || width_of(window) > INT32_MAX) return false;
  }
  return orb__within_limit(ORB_LIMIT_CHANNELS, static_cast<uint64_t>(channels), "orb") != 0;
}

// A driver's word for a picture is a stranger's: the rest of the tool counts on windows and groups that can be.
bool describes_pictures(const Image& image, const std::string& name) {
  const ORB_INFO& info = image->info;
  for (int32_t i = 0; i < info.image_count; ++i) {
    if (is_possible(info.images[i])) continue;
    say(ERR_ERROR, name + ": the format " + image->format->key +
                       " describes a picture that cannot be: " + window_text(info.images[i].window) + ", " +
                       std::to_string(info.images[i].color.count) + " colour channels");
    orb__err = ORB_E_FORMAT;
    return false;
  }
  return true;
}

}  // namespace

Image::~Image() { abandon(); }

bool Image::close() {
  ORB_IMAGE* const handle = std::exchange(handle_, nullptr);
  if (handle != nullptr) note_call(handle->mode == ORB_MODE_WRITE ? Doing::writing : Doing::reading);
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
  ORB_info_cleanup(&wanted, 0);
  if (!image) return image;
  if (!describes_pictures(image, name)) return {};
  stand_before_first_row(*image.get());
  return image;
}

void go_to_frame(const Image& image, int32_t frame, const std::string& name) {
  forget_errors();
  note_call(Doing::reading);
  if (ORB_set_frame(image.get(), frame, 0, 0) == 0) return;
  fail_as_reported(name + ": cannot go to frame " + std::to_string(frame));
}

bool is_missing(const std::string& name, const ORB_FORMAT& format) {
  struct stat status = {};
  return std::strcmp(format.key, "mem") != 0 && stat(name.c_str(), &status) != 0 && errno == ENOENT;
}

int64_t width_of(const ORB_WINDOW& window) { return int64_t{window.right} - window.left + 1; }
int64_t height_of(const ORB_WINDOW& window) { return int64_t{window.top} - window.bottom + 1; }

std::string size_text(const ORB_WINDOW& w) {
  return std::to_string(width_of(w)) + " x " + std::to_string(height_of(w));
}

std::string window_text(const ORB_WINDOW& w) {
  return "columns " + std::to_string(w.left) + " to " + std::to_string(w.right) + ", rows " +
         std::to_string(w.bottom) + " to " + std::to_string(w.top);
}

}  // namespace orb::tool
