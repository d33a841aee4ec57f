#include "whole_file.h"
#include "orbbase/registry.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "input_file.h"

namespace orb::fuzz {
namespace {

struct Module {
  std::string key;
  void* library;
};

struct State {
  std::vector<Module> modules;
  size_t next = 0;
} state;

int32_t next_module(void** module_out, const char** name_out) {
  if (state.next == state.modules.size()) return 0;
  const Module& module = state.modules[state.next++];
  *module_out = module.library;
  *name_out = module.key.c_str();
  return 1;
}

void load(std::string_view entry) {
  const size_t equals = entry.find('=');
  const std::string path(entry.substr(equals + 1));
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) std::fprintf(stderr, "%s\n", dlerror());
  require(library != nullptr, "a format's module cannot be loaded");
  state.modules.push_back({std::string(entry.substr(0, equals)), library});
}

size_t sample_bytes(const ORB_CHANNELS& group, bool is_index) {
  if (is_index) return 2;
  if (group.type != ORB_C_INTEGER) return group.type == ORB_C_DOUBLE ? 8 : 4;
  return group.width <= 8 ? 1 : group.width <= 16 ? 2 : 4;
}

// Copies are what the address sanitizer checks fastest.
void touch(const void* row, size_t size_bytes) {
  static char scratch[4096];
  const char* at = static_cast<const char*>(row);
  for (size_t done = 0; done < size_bytes; done += sizeof scratch) {
    std::memcpy(scratch, at + done, std::min(sizeof scratch, size_bytes - done));
  }
}

// What is left of looking at a file.
struct Patience {
  int64_t bytes = 1 << 18;
  int failures = 32;

  [[nodiscard]] bool is_over() const { return bytes <= 0 || failures <= 0; }
};

int64_t row_bytes(const ORB_IFD& ifd) {
  const int64_t pixels = int64_t{ifd.window.right} - ifd.window.left + 1;
  int64_t bytes = 256;  // a row costs something, however short
  for (const ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index}) {
    bytes += pixels * group->count * static_cast<int64_t>(sample_bytes(*group, group == &ifd.index));
  }
  return bytes;
}

void read_image(ORB_IMAGE* image, int32_t index, Patience& patience) {
  const ORB_IFD& ifd = image->info.images[index];
  const int64_t count = int64_t{ifd.window.top} - ifd.window.bottom + 1;
  const bool is_upward = (ifd.orientation & ORB_BOTTOM_UP) != 0;
  const int64_t first = is_upward ? ifd.window.bottom : ifd.window.top;
  const int64_t last = is_upward ? ifd.window.top : ifd.window.bottom;
  const auto read = [&](int64_t line) {
    patience.bytes -= row_bytes(ifd);
    if (read_line(image, index, line) != 0) --patience.failures;
  };
  int64_t done = 0;
  for (; done < count && !patience.is_over(); ++done) read(is_upward ? first + done : first - done);
  if (done < count && row_bytes(ifd) < 1 << 20) read(last);
}

}  // namespace

void start_with_modules(const char* modules) {
  ERR_dcl_handler(nullptr, swallow, nullptr);
  std::string_view rest = modules;
  while (!rest.empty()) {
    const std::string_view entry = rest.substr(0, rest.find(':'));
    rest.remove_prefix(std::min(entry.size() + 1, rest.size()));
    load(entry);
  }
  require(ORB_init(nullptr, next_module) == 0, "the library does not start");
  for (const Module& module : state.modules) {
    require(ORB_find(module.key.c_str()) != nullptr, "a format's module is refused");
  }
}

void look_at(const ORB_IFD& ifd, void** rows) {
  const auto pixels = static_cast<size_t>(int64_t{ifd.window.right} - ifd.window.left + 1);
  for (const ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index}) {
    for (int32_t i = 0; i < group->count; ++i) {
      touch(*rows++, pixels * sample_bytes(*group, group == &ifd.index));
    }
  }
}

int32_t read_line(ORB_IMAGE* image, int32_t index, int64_t line) {
  void** rows = nullptr;
  const int32_t code = index == 0 ? ORB_scan_read(image, static_cast<int32_t>(line), &rows)
                                  : image->scan(image->driver[index].data, static_cast<int32_t>(line), &rows);
  if (code != 0) return code;
  require(rows != nullptr, "a line was read and there are no rows");
  look_at(image->info.images[index], rows);
  return 0;
}

void read_everything(ORB_IMAGE* image) {
  Patience patience;
  for (int32_t i = 0; i < image->info.image_count && !patience.is_over(); ++i) read_image(image, i, patience);
  // Backwards: each frame is made from those before it.
  for (int32_t frame = std::min(image->info.frame_count, 6); frame > 0; --frame) {
    Patience of_frame = {1 << 16, 4};
    if (ORB_set_frame(image, frame, 0, 0) == 0) read_image(image, 0, of_frame);
  }
  ORB_LUT* lut = nullptr;
  if (ORB_lut_read(image, &lut) == 0 && lut) {
    touch(lut->entries, static_cast<size_t>(lut->entry_count) * sizeof *lut->entries);
  }
  ORB_lut_free(lut);
}

ORB_IMAGE* open_to_read(const char* path, const char* key) {
  ORB_INFO wanted;
  ORB_info_init(&wanted);
  std::string name = path;
  std::string wanted_key = key ? key : "";
  wanted.handle = name.data();
  wanted.key = key ? wanted_key.data() : nullptr;
  wanted.open_option = 1;
  ORB_IMAGE* const image = ORB_open(&wanted, "r");
  require(image || orb__err != 0, "an open failed without a code");
  return image;
}

}  // namespace orb::fuzz
