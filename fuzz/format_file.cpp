// A file from a stranger, for the format ORB_FUZZ_KEY: what is it, what does it hold, and every row of every image.
#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "orbbase/orbbase.h"

namespace {

// A header may claim more rows than an input is worth; the first and last of each image are read.
constexpr int64_t kRowsAtEachEnd = 64;
// Rows of a header's largest claims take long and find nothing that shorter ones do not.
constexpr uint64_t kLargestBuffer = 16 << 20;
// The first frames of a file of many, backwards: each is made from those before it.
constexpr int32_t kFramesRead = 6;

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "format_file: %s\n", what);
  std::abort();
}

// The format's module, once; none for a driver of the library's own.
int32_t next_module(void** module_out, const char** name_out) {
  static bool was_offered = false;
  if (was_offered || *ORB_FUZZ_MODULE == '\0') return 0;
  was_offered = true;
  *module_out = dlopen(ORB_FUZZ_MODULE, RTLD_NOW | RTLD_LOCAL);
  if (!*module_out) give_up(dlerror());
  *name_out = ORB_FUZZ_KEY;
  return 1;
}

// Reports are made in full, and shown to nobody.
int32_t swallow(const void*, uint8_t, const char*, ERR_RECORD*, void*) { return 0; }

// A file without a disk.
class InputFile {
 public:
  InputFile() : descriptor_(memfd_create("input", 0)), path_("/proc/self/fd/" + std::to_string(descriptor_)) {
    if (descriptor_ < 0) give_up("no memory file");
  }
  void hold(const uint8_t* data, size_t size) {
    const bool is_whole =
        ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, data, size, 0) == static_cast<ssize_t>(size);
    if (!is_whole) give_up("the memory file cannot be written");
  }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  int descriptor_;
  std::string path_;
};

void read_line(ORB_IMAGE* image, int32_t index, int64_t line) {
  void** rows = nullptr;
  if (index == 0) {
    static_cast<void>(ORB_scan_read(image, static_cast<int32_t>(line), &rows));
  } else {
    static_cast<void>(image->scan(image->driver[index].data, static_cast<int32_t>(line), &rows));
  }
}

void read_image(ORB_IMAGE* image, int32_t index) {
  const ORB_WINDOW window = image->info.images[index].window;
  const int64_t count = int64_t{window.top} - window.bottom + 1;
  const int64_t from_each_end = std::min(kRowsAtEachEnd, count);
  const bool is_upward = (image->info.images[index].orientation & ORB_BOTTOM_UP) != 0;
  const int64_t first = is_upward ? window.bottom : window.top;
  const int64_t step = is_upward ? 1 : -1;
  for (int64_t i = 0; i < from_each_end; ++i) read_line(image, index, first + step * i);
  for (int64_t i = std::max(count - from_each_end, from_each_end); i < count; ++i) {
    read_line(image, index, first + step * i);
  }
}

void read_file(const std::string& path) {
  std::string name = path;
  std::string key = ORB_FUZZ_KEY;
  ORB_INFO wanted;
  ORB_info_init(&wanted);
  wanted.handle = name.data();
  wanted.key = key.data();
  wanted.open_option = 1;
  ORB_IMAGE* const image = ORB_open(&wanted, "r");
  if (!image) return;
  for (int32_t i = 0; i < image->info.image_count; ++i) read_image(image, i);
  for (int32_t frame = std::min(image->info.frame_count, kFramesRead); frame > 0; --frame) {
    static_cast<void>(ORB_set_frame(image, frame, 0, 0));
    read_image(image, 0);
  }
  ORB_LUT* lut = nullptr;
  static_cast<void>(ORB_lut_read(image, &lut));
  ORB_lut_free(lut);
  ORB_close(image);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static InputFile file;
  static const bool is_started = [] {
    ERR_dcl_handler(nullptr, swallow, nullptr);
    const bool has_started = ORB_init(nullptr, next_module) == 0;
    ORB_multiframe_set(0, 0);
    ORB_limit(ORB_LIMIT_BUFFER, kLargestBuffer);
    return has_started;
  }();
  if (!is_started) give_up("the library does not start");
  file.hold(data, size);
  if (ORB_FORMAT* const format = ORB_find(ORB_FUZZ_KEY); format && format->is_file) {
    static_cast<void>(format->is_file(file.path().c_str(), nullptr));
  }
  read_file(file.path());
  return 0;
}
