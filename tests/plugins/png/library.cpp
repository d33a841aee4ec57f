#include "library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

namespace orb::testing {
namespace {

// ORB_init's enumerator carries no word of the caller's.
struct State {
  void* module = nullptr;
} state;

int32_t give_module(void** module_out, const char** name_out) {
  if (!state.module) return 0;
  *module_out = std::exchange(state.module, nullptr);
  *name_out = "png";
  return 1;
}

// The place of a row's samples: up to 8 bits take a byte.
int sample_bytes(const ORB_IFD& ifd, int channel) {
  if (ifd.color.count == 0) return 2;
  return (channel < ifd.color.count ? ifd.color.width : ifd.matte.width) > 8 ? 2 : 1;
}

// Opens with a settings list of its own, which a handle takes and a failed open leaves behind.
Image open_with(ORB_INFO& info, const char* mode, const Setting* setting) {
  info.settings = setting ? setting->list() : nullptr;
  Image image(ORB_open(&info, mode));
  if (!image && info.settings) {
    ERR_free(info.settings[0]);
    ERR_free(info.settings);
  }
  info.settings = nullptr;
  return image;
}

}  // namespace

PngTest::PngTest() : module_(dlopen(PNG_MODULE, RTLD_NOW | RTLD_LOCAL)) {
  state.module = module_;
  if (!module_ || ORB_init(nullptr, give_module) != 0 || !ORB_find("png")) std::abort();
  std::string pattern = ::testing::TempDir() + "orb-png-XXXXXX";
  if (!mkdtemp(pattern.data())) std::abort();
  folder_ = pattern;
}

PngTest::~PngTest() {
  ORB_exit();
  std::filesystem::remove_all(folder_);
  // The module stays loaded: what a leak checker finds in it keeps its names.
}

std::string PngTest::file(const Bytes& bytes, const std::string& name) const {
  save(path(name), bytes);
  return path(name);
}

Setting::Setting(uint16_t code, int32_t value) : setting_{code, {}} { setting_.value.integer = value; }
ORB_CAP_SETTING** Setting::list() const {
  ORB_CAP_SETTING* lent[2] = {&setting_, nullptr};
  return ORB_cap_setting_copy(lent);
}

Image open_read(const std::string& path, const Setting* setting) {
  ORB_INFO info;
  ORB_info_init(&info);
  std::string key = "png";
  std::string name = path;
  info.key = key.data();
  info.handle = name.data();
  return open_with(info, "r", setting);
}

Wanted::Wanted(std::string file_name, int32_t width, int32_t height) : path(std::move(file_name)) {
  ORB_info_init(&info);
  info.word_e = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT;
  ifd.curve.kind = ORB_CURVE_GAMMA;
  ifd.curve.gamma = 2.2F;
  ifd.window = {0, width - 1, 0, height - 1};
  ifd.active_window = ifd.window;
  ifd.orientation = ORB_BOTTOM_UP;
  ifd.color = {nullptr, 1, ORB_C_INTEGER, 8};
  ifd.matte = {nullptr, 0, ORB_C_INTEGER, 8};
  ifd.aux = {nullptr, 0, ORB_C_INTEGER, 8};
  ifd.index = {nullptr, 0, ORB_C_INTEGER, 8};
}

Image Wanted::open() {
  std::string key = "png";
  info.key = key.data();
  info.handle = path.data();
  info.open_option = 1;
  info.images = &ifd;
  info.image_count = 1;
  return open_with(info, "w", setting);
}

int channel_count(const ORB_IFD& ifd) {
  return ifd.color.count + ifd.matte.count + (ifd.color.count == 0 ? ifd.index.count : 0);
}

bool read_all(ORB_IMAGE& image, Planes* out) {
  const ORB_IFD& ifd = image.info.images[0];
  const int32_t width = ifd.window.right - ifd.window.left + 1;
  out->assign(static_cast<size_t>(channel_count(ifd)), {});
  for (int32_t line = ifd.window.top; line >= ifd.window.bottom; --line) {
    void** rows = nullptr;
    if (ORB_scan_read(&image, line, &rows) != 0) return false;
    for (int c = 0; c < channel_count(ifd); ++c) {
      for (int32_t i = 0; i < width; ++i) {
        (*out)[c].push_back(sample_bytes(ifd, c) == 2 ? static_cast<uint16_t*>(rows[c])[i]
                                                      : static_cast<uint8_t*>(rows[c])[i]);
      }
    }
  }
  return true;
}

int32_t write_all(Image image, const Planes& planes) {
  if (!image) return orb__err;
  ORB_IFD ifd = image->info.images[0];
  const int32_t width = ifd.window.right - ifd.window.left + 1;
  void** rows = ORB_chan_alloc(&ifd, width, "png", nullptr);
  int32_t code = rows ? 0 : orb__err;
  size_t at = 0;
  for (int32_t line = ifd.window.top; code == 0 && line >= ifd.window.bottom; --line, at += width) {
    for (int c = 0; c < channel_count(ifd); ++c) {
      for (int32_t i = 0; i < width; ++i) {
        if (sample_bytes(ifd, c) == 2) {
          static_cast<uint16_t*>(rows[c])[i] = planes[c][at + i];
        } else {
          static_cast<uint8_t*>(rows[c])[i] = static_cast<uint8_t>(planes[c][at + i]);
        }
      }
    }
    code = ORB_scan_write(image.get(), line, rows);
  }
  ORB_chan_free(rows);
  const int32_t closed = ORB_close(image.release());
  return code != 0 ? code : closed;
}

Planes planes_of(const Stored& picture) {
  Planes planes(static_cast<size_t>(picture.channels()));
  for (size_t i = 0; i < picture.samples.size(); ++i) planes[i % planes.size()].push_back(picture.samples[i]);
  return planes;
}

}  // namespace orb::testing
