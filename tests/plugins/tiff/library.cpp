#include "library.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>

namespace orb::testing {
namespace {

// ORB_init's enumerator carries no word of the caller's.
struct State {
  void* module = nullptr;
} state;

int32_t give_module(void** module_out, const char** name_out) {
  if (!state.module) return 0;
  *module_out = std::exchange(state.module, nullptr);
  *name_out = "tiff";
  return 1;
}

Image open_with(ORB_INFO& info, const char* mode, const Settings& settings) {
  std::vector<ORB_CAP_SETTING> list;
  for (const auto& [code, value] : settings) {
    list.push_back({code, {}});
    list.back().value.integer = value;
  }
  std::vector<ORB_CAP_SETTING*> lent;
  for (ORB_CAP_SETTING& setting : list) lent.push_back(&setting);
  lent.push_back(nullptr);
  info.settings = ORB_cap_setting_copy(lent.data());
  Image image(ORB_open(&info, mode));
  for (size_t i = 0; !image && info.settings && info.settings[i]; ++i) ERR_free(info.settings[i]);
  if (!image) ERR_free(info.settings);
  info.settings = nullptr;
  return image;
}

int total(const ORB_IFD& ifd) { return ifd.color.count + ifd.matte.count + ifd.aux.count + ifd.index.count; }

size_t sample_bytes(const ORB_IFD& ifd, int channel) {
  const ORB_CHANNELS* groups[] = {&ifd.color, &ifd.matte, &ifd.aux};
  for (const ORB_CHANNELS* group : groups) {
    if (channel < group->count) {
      if (group->type != ORB_C_INTEGER) return group->type == ORB_C_DOUBLE ? 8 : 4;
      return group->width <= 8 ? 1 : group->width <= 16 ? 2 : 4;
    }
    channel -= group->count;
  }
  return 2;
}

int bits_of(const ORB_IFD& ifd) {
  const ORB_CHANNELS& group = ifd.color.count > 0 ? ifd.color : ifd.index;
  return group.type == ORB_C_INTEGER ? group.width : group.type == ORB_C_DOUBLE ? 64 : 32;
}

uint64_t noise_at(const ORB_IFD& ifd, int channel, int32_t column, int32_t line) {
  Stored stored;
  stored.bits = bits_of(ifd);
  return stored.at(static_cast<uint32_t>(column), static_cast<uint32_t>(line), channel);
}

}  // namespace

TiffTest::TiffTest() {
  state.module = dlopen(TIFF_MODULE, RTLD_NOW | RTLD_LOCAL);
  if (!state.module || ORB_init(nullptr, give_module) != 0 || !ORB_find("tiff")) std::abort();
}
// The module stays loaded: what a leak checker finds in it keeps its names.
TiffTest::~TiffTest() { ORB_exit(); }

Image open_read(const std::string& path, const Settings& settings) {
  ORB_INFO info;
  ORB_info_init(&info);
  std::string key = "tiff";
  std::string name = path;
  info.key = key.data();
  info.handle = name.data();
  return open_with(info, "r", settings);
}

void** read_line(ORB_IMAGE& image, int32_t index, int32_t line) {
  void** rows = nullptr;
  return image.scan(image.driver[index].data, line, &rows) == 0 ? rows : nullptr;
}

uint64_t sample_at(const ORB_IFD& ifd, void* const* rows, int channel, int32_t column) {
  const size_t bytes = sample_bytes(ifd, channel);
  uint64_t value = 0;
  std::memcpy(&value, static_cast<const uint8_t*>(rows[channel]) + static_cast<size_t>(column) * bytes,
              bytes);
  return value;
}

std::vector<uint64_t> read_all(ORB_IMAGE& image, int32_t index) {
  const ORB_IFD& ifd = image.info.images[index];
  std::vector<uint64_t> samples;
  for (int32_t line = ifd.window.top; line >= ifd.window.bottom; --line) {
    void** rows = read_line(image, index, line);
    if (!rows) return {};
    for (int c = 0; c < total(ifd); ++c) {
      for (int32_t x = 0; x <= ifd.window.right - ifd.window.left; ++x) {
        samples.push_back(sample_at(ifd, rows, c, x));
      }
    }
  }
  return samples;
}

int32_t read_whole(const std::string& path) {
  const Image image = open_read(path);
  if (!image) return orb__err;
  for (int32_t i = 0; i < image->info.image_count; ++i) {
    if (read_all(*image, i).empty()) return orb__err;
  }
  return 0;
}

Wanted::Wanted(std::string file_name, size_t images, int32_t width, int32_t height)
    : path(std::move(file_name)), ifds(images) {
  ORB_info_init(&info);
  info.word_e = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT |
                ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
  for (ORB_IFD& ifd : ifds) {
    ifd.curve.kind = ORB_CURVE_GAMMA;
    ifd.curve.gamma = 2.2F;
    ifd.window = ifd.active_window = {0, width - 1, 0, height - 1};
    ifd.orientation = ORB_BOTTOM_UP;
    ifd.color = {nullptr, 1, ORB_C_INTEGER, 8};
    ifd.matte = ifd.aux = ifd.index = {nullptr, 0, ORB_C_INTEGER, 8};
  }
}

Image Wanted::open() {
  static std::string key = "tiff";
  info.key = key.data();
  info.handle = path.data();
  info.open_option = 1;
  info.images = ifds.data();
  info.image_count = static_cast<int32_t>(ifds.size());
  return open_with(info, "w", settings);
}

int32_t Wanted::write() {
  Image image = open();
  if (!image) return orb__err;
  int32_t code = 0;
  for (int32_t i = 0; code == 0 && i < image->info.image_count; ++i) {
    ORB_IFD ifd = image->info.images[i];
    const int32_t width = ifd.window.right - ifd.window.left + 1;
    void** rows = ORB_chan_alloc(&ifd, width, "tiff", nullptr);
    if (!rows) code = orb__err;
    const bool is_upward = (ifd.orientation & ORB_BOTTOM_UP) != 0;
    for (int32_t n = 0; code == 0 && n <= ifd.window.top - ifd.window.bottom; ++n) {
      const int32_t line = is_upward ? ifd.window.bottom + n : ifd.window.top - n;
      for (int c = 0; c < total(ifd); ++c) {
        const size_t bytes = sample_bytes(ifd, c);
        for (int32_t x = 0; x < width; ++x) {
          const uint64_t value = noise_at(ifd, c, x, line);
          std::memcpy(static_cast<uint8_t*>(rows[c]) + static_cast<size_t>(x) * bytes, &value, bytes);
        }
      }
      code = image->scan(image->driver[i].data, line, rows);
    }
    ORB_chan_free(rows);
  }
  const int32_t closed = ORB_close(image.release());
  return code != 0 ? code : closed;
}

std::vector<uint64_t> noise_of(const ORB_IFD& ifd) {
  std::vector<uint64_t> samples;
  for (int32_t line = ifd.window.top; line >= ifd.window.bottom; --line) {
    for (int c = 0; c < total(ifd); ++c) {
      for (int32_t x = 0; x <= ifd.window.right - ifd.window.left; ++x) {
        samples.push_back(noise_at(ifd, c, x, line));
      }
    }
  }
  return samples;
}

}  // namespace orb::testing
