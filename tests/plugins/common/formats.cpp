#include "formats.h"
#include "orbbase/registry.h"

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

size_t sample_bytes(const ORB_CHANNELS& group) {
  if (group.type == ORB_C_DOUBLE) return 8;
  return group.type == ORB_C_FLOAT || group.width > 16 ? 4 : group.width > 8 ? 2 : 1;
}

// Bytes of a sample of each channel, in their order.
std::vector<size_t> sample_bytes(const ORB_IFD& ifd) {
  std::vector<size_t> bytes;
  for (const ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux}) {
    bytes.insert(bytes.end(), static_cast<size_t>(group->count), sample_bytes(*group));
  }
  if (ifd.color.count == 0) bytes.insert(bytes.end(), static_cast<size_t>(ifd.index.count), 2);
  return bytes;
}

int64_t height_of(const ORB_IFD& ifd) { return int64_t{ifd.window.top} - ifd.window.bottom + 1; }

// A line, counted from the first in the file's order.
int32_t line_at(const ORB_IFD& ifd, int64_t count) {
  const bool is_upward = (ifd.orientation & ORB_BOTTOM_UP) != 0;
  return static_cast<int32_t>(is_upward ? ifd.window.bottom + count : ifd.window.top - count);
}

size_t width_of(const ORB_IFD& ifd) { return static_cast<size_t>(ifd.window.right - ifd.window.left + 1); }

// Opens with a settings list of its own, which a handle takes and a failed open leaves behind.
Image open_with(ORB_INFO& info, const char* mode, const Settings& settings) {
  std::vector<ORB_CAP_SETTING> chosen(settings.size());
  std::vector<ORB_CAP_SETTING*> list;
  for (size_t i = 0; i < settings.size(); ++i) {
    chosen[i].code = settings[i].code;
    chosen[i].value.integer = settings[i].value;
    list.push_back(&chosen[i]);
  }
  list.push_back(nullptr);
  ORB_CAP_SETTING** const copy = settings.empty() ? nullptr : ORB_cap_setting_copy(list.data());
  info.settings = copy;
  Image image(ORB_open(&info, mode));
  info.settings = nullptr;
  if (image) return image;
  for (ORB_CAP_SETTING** setting = copy; setting && *setting; ++setting) ERR_free(*setting);
  ERR_free(copy);
  return image;
}

}  // namespace

FormatTest::FormatTest(std::vector<const char*> modules) {
  state.modules = std::move(modules);
  if (ORB_init(nullptr, give_module) != 0) std::abort();
  ORB_multiframe_set(0, 0);
}
// Modules stay loaded: what a leak checker finds in them keeps its names.
FormatTest::~FormatTest() {
  ORB_multiframe_set(0, 0);  // the idle files go before the library ends
  ORB_exit();
}

size_t FormatTest::errors() const {
  return static_cast<size_t>(
      std::count_if(reports.reports.begin(), reports.reports.end(),
                    [](const ReportRecorder::Report& report) { return report.category >= ERR_ERROR; }));
}

std::string load(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void save(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

Image open_read(const char* key, const std::string& path, const Settings& settings, bool is_exact) {
  ORB_INFO info;
  ORB_info_init(&info);
  std::string key_text = key;
  std::string name = path;
  info.key = key_text.data();
  info.handle = name.data();
  info.open_option = is_exact ? 1 : 0;
  return open_with(info, "r", settings);
}

Table make_table(int32_t count) {
  Table table(ORB_lut_alloc(count));
  for (int32_t i = 0; i < count; ++i) {
    table->entries[i] = {
        {static_cast<uint16_t>(i * 257), static_cast<uint16_t>(65535 - i * 257), 257, 65535}};
  }
  return table;
}

Table read_table(ORB_IMAGE& image) {
  ORB_LUT* table = nullptr;
  EXPECT_EQ(ORB_lut_read(&image, &table), 0);
  return Table(table);
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

Wanted& Wanted::index(int32_t bits, const Table& table, uint32_t type) {
  info.write_option = reinterpret_cast<uintptr_t>(table.get());
  return color(0, 8).group(&ORB_IFD::index, 1, bits, type);
}

Wanted& Wanted::window(int32_t left, int32_t right, int32_t bottom, int32_t top) {
  ifd.window = ifd.active_window = {left, right, bottom, top};
  return *this;
}

Wanted& Wanted::set(uint16_t code, int32_t value) {
  settings.push_back({code, value});
  return *this;
}

Image Wanted::open() {
  info.key = key.data();
  info.handle = path.data();
  info.open_option = is_exact ? 1 : 0;
  images_ = more;
  images_.insert(images_.begin(), ifd);
  info.images = images_.data();
  info.image_count = static_cast<int32_t>(images_.size());
  return open_with(info, "w", settings);
}

Planes noise(int channels, int bits, size_t pixels) {
  std::mt19937_64 random(7);
  Planes planes(static_cast<size_t>(channels), std::vector<uint64_t>(pixels));
  for (auto& plane : planes) {
    for (uint64_t& sample : plane) sample = random() >> (64 - bits);
  }
  return planes;
}

Planes noise_for(const ORB_IFD& ifd) {
  const ORB_CHANNELS* groups[] = {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index};
  const auto first = std::find_if(std::begin(groups), std::end(groups), [](auto* g) { return g->count > 0; });
  const size_t pixels = width_of(ifd) * static_cast<size_t>(height_of(ifd));
  return noise(static_cast<int>(sample_bytes(ifd).size()), (*first)->width, pixels);
}

void clear_inactive(const ORB_IFD& ifd, Planes& planes) {
  const ORB_WINDOW& active = ifd.active_window;
  for (auto& plane : planes) {
    for (size_t at = 0; at < plane.size(); ++at) {
      const int32_t x = ifd.window.left + static_cast<int32_t>(at % width_of(ifd));
      const int32_t line = line_at(ifd, static_cast<int64_t>(at / width_of(ifd)));
      if (x < active.left || x > active.right || line < active.bottom || line > active.top) plane[at] = 0;
    }
  }
}

void** read_row(ORB_IMAGE& image, int32_t line, int32_t index) {
  void** rows = nullptr;
  const int32_t code =
      index == 0 ? ORB_scan_read(&image, line, &rows) : image.scan(image.driver[index].data, line, &rows);
  return code == 0 ? rows : nullptr;
}

uint64_t sample_at(const ORB_IFD& ifd, void* const* rows, int channel, int32_t column) {
  const size_t bytes = sample_bytes(ifd)[static_cast<size_t>(channel)];
  uint64_t sample = 0;
  std::memcpy(&sample, static_cast<const char*>(rows[channel]) + static_cast<size_t>(column) * bytes, bytes);
  return sample;
}

Planes read_all(ORB_IMAGE& image, int32_t index) {
  const ORB_IFD& ifd = image.info.images[index];
  const std::vector<size_t> bytes = sample_bytes(ifd);
  Planes planes(bytes.size());
  for (int64_t n = 0; n < height_of(ifd); ++n) {
    void** const rows = read_row(image, line_at(ifd, n), index);
    if (!rows) return {};
    for (size_t c = 0; c < bytes.size(); ++c) {
      for (size_t i = 0; i < width_of(ifd); ++i) {
        uint64_t sample = 0;
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
  for (int32_t frame = 1; frame <= image->info.frame_count; ++frame) {
    if (const int32_t code = ORB_set_frame(image.get(), frame, 0, 0)) return code;
    if (read_all(*image).empty()) return orb__err;
  }
  return 0;
}

int32_t write_image(ORB_IMAGE& image, const Planes& planes, int32_t index) {
  ORB_IFD ifd = image.info.images[index];
  const std::vector<size_t> bytes = sample_bytes(ifd);
  const size_t width = width_of(ifd);
  void** rows = ORB_chan_alloc(&ifd, static_cast<int32_t>(width), "test", nullptr);
  int32_t code = rows ? 0 : orb__err;
  size_t at = 0;
  for (int64_t n = 0; n < height_of(ifd) && code == 0; ++n) {
    const int32_t line = line_at(ifd, n);
    for (size_t c = 0; c < bytes.size(); ++c) {
      for (size_t i = 0; i < width; ++i) {
        std::memcpy(static_cast<char*>(rows[c]) + i * bytes[c], &planes[c][at + i], bytes[c]);
      }
    }
    code = index == 0 ? ORB_scan_write(&image, line, rows) : image.scan(image.driver[index].data, line, rows);
    at += width;
  }
  ORB_chan_free(rows);
  return code;
}

int32_t write_images(Image image, const std::vector<Planes>& planes) {
  if (!image) return orb__err;
  int32_t code = 0;
  for (size_t i = 0; i < planes.size() && code == 0; ++i) {
    code = write_image(*image, planes[i], static_cast<int32_t>(i));
  }
  const int32_t closed = ORB_close(image.release());
  return code != 0 ? code : closed;
}

int32_t write_all(Image image, const Planes& planes) {
  return write_images(std::move(image), std::vector<Planes>{planes});
}

}  // namespace orb::testing
