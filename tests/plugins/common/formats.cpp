#include "formats.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <utility>

namespace orb::testing {
namespace {

// ORB_init's enumerator carries no word of the caller's.
struct State {
  std::vector<const char*> modules;
} state;

int32_t give_module(void** module_out, const char** name_out) {
  if (state.modules.empty()) return 0;
  *name_out = state.modules.back();
  *module_out = dlopen(*name_out, RTLD_NOW | RTLD_LOCAL);
  if (!*module_out) std::abort();
  state.modules.pop_back();
  return 1;
}

// Bytes of a sample of each channel, in their order.
std::vector<size_t> sample_bytes(const ORB_IFD& ifd) {
  std::vector<size_t> bytes;
  for (const ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux}) {
    const size_t size = group->type == ORB_C_FLOAT || group->width > 16 ? 4 : group->width > 8 ? 2 : 1;
    bytes.insert(bytes.end(), static_cast<size_t>(group->count), size);
  }
  return bytes;
}

// The lines of a picture in the file's order.
std::vector<int32_t> lines_of(const ORB_IFD& ifd) {
  std::vector<int32_t> lines;
  for (int32_t line = ifd.window.bottom; line <= ifd.window.top; ++line) lines.push_back(line);
  if ((ifd.orientation & ORB_BOTTOM_UP) == 0) std::reverse(lines.begin(), lines.end());
  return lines;
}

}  // namespace

FormatTest::FormatTest(std::initializer_list<const char*> modules) {
  state.modules = modules;
  if (ORB_init(nullptr, give_module) != 0) std::abort();
}
// Modules stay loaded: what a leak checker finds in them keeps its names.
FormatTest::~FormatTest() { ORB_exit(); }

std::string load(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void save(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

Image open_read(const char* key, const std::string& path) {
  ORB_INFO info;
  ORB_info_init(&info);
  std::string key_text = key;
  std::string name = path;
  info.key = key_text.data();
  info.handle = name.data();
  info.open_option = 1;
  return Image(ORB_open(&info, "r"));
}

Wanted::Wanted(const char* format, std::string file_name, int32_t width, int32_t height)
    : key(format), path(std::move(file_name)) {
  ORB_info_init(&info);
  info.word_e = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT |
                ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
  ifd.curve.kind = ORB_CURVE_GAMMA;
  ifd.curve.gamma = 2.2F;
  ifd.window = ifd.active_window = {0, width - 1, 0, height - 1};
  ifd.orientation = ORB_BOTTOM_UP;
  for (ORB_CHANNELS* empty : {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index})
    *empty = {nullptr, 0, ORB_C_INTEGER, 8};
}

Wanted& Wanted::group(ORB_CHANNELS ORB_IFD::*which, int32_t count, int32_t width, uint32_t type) {
  ifd.*which = {nullptr, count, type, width};
  return *this;
}

Image Wanted::open() {
  info.key = key.data();
  info.handle = path.data();
  info.open_option = 1;
  info.images = &ifd;
  info.image_count = 1;
  std::vector<ORB_CAP_SETTING> chosen(settings.size());
  std::vector<ORB_CAP_SETTING*> list;
  for (size_t i = 0; i < settings.size(); ++i) {
    chosen[i].code = settings[i].code;
    chosen[i].value.integer = settings[i].value;
    list.push_back(&chosen[i]);
  }
  list.push_back(nullptr);
  ORB_CAP_SETTING** copy = ORB_cap_setting_copy(list.data());  // the handle's, if there will be one
  info.settings = copy;
  Image image(ORB_open(&info, "w"));
  info.settings = nullptr;
  if (image) return image;
  for (ORB_CAP_SETTING** setting = copy; setting && *setting; ++setting) ERR_free(*setting);
  ERR_free(copy);
  return image;
}

Planes noise(int channels, int bits, size_t pixels) {
  std::mt19937 random(7);
  Planes planes(static_cast<size_t>(channels), std::vector<uint32_t>(pixels));
  for (auto& plane : planes) {
    for (uint32_t& sample : plane) sample = static_cast<uint32_t>(random()) >> (32 - bits);
  }
  return planes;
}

Planes read_all(ORB_IMAGE& image, int32_t index) {
  const ORB_IFD& ifd = image.info.images[index];
  const std::vector<size_t> bytes = sample_bytes(ifd);
  const auto width = static_cast<size_t>(ifd.window.right - ifd.window.left + 1);
  Planes planes(bytes.size());
  for (const int32_t line : lines_of(ifd)) {
    void** rows = nullptr;
    const int32_t code =
        index == 0 ? ORB_scan_read(&image, line, &rows) : image.scan(image.driver[index].data, line, &rows);
    if (code != 0) return {};
    for (size_t c = 0; c < bytes.size(); ++c) {
      for (size_t i = 0; i < width; ++i) {
        uint32_t sample = 0;
        std::memcpy(&sample, static_cast<const char*>(rows[c]) + i * bytes[c], bytes[c]);
        planes[c].push_back(sample);
      }
    }
  }
  return planes;
}

int32_t read_whole(const char* key, const std::string& path) {
  const Image image = open_read(key, path);
  if (!image) return orb__err;
  for (int32_t i = 0; i < image->info.image_count; ++i) {
    if (read_all(*image, i).empty()) return orb__err;
  }
  return 0;
}

int32_t write_all(Image image, const Planes& planes) {
  if (!image) return orb__err;
  ORB_IFD ifd = image->info.images[0];
  const std::vector<size_t> bytes = sample_bytes(ifd);
  const auto width = static_cast<size_t>(ifd.window.right - ifd.window.left + 1);
  void** rows = ORB_chan_alloc(&ifd, static_cast<int32_t>(width), "test", nullptr);
  int32_t code = 0;
  size_t at = 0;
  for (const int32_t line : lines_of(ifd)) {
    for (size_t c = 0; c < bytes.size(); ++c) {
      for (size_t i = 0; i < width; ++i) {
        std::memcpy(static_cast<char*>(rows[c]) + i * bytes[c], &planes[c][at + i], bytes[c]);
      }
    }
    code = ORB_scan_write(image.get(), line, rows);
    if (code != 0) break;
    at += width;
  }
  ORB_chan_free(rows);
  const int32_t closed = ORB_close(image.release());
  return code != 0 ? code : closed;
}

}  // namespace orb::testing
