#include "bench/file.h"

#include <chrono>
#include <filesystem>

#include "orbbase/host.h"

namespace orb::bench {
namespace {

namespace fs = std::filesystem;

struct Folder {
  explicit Folder(const fs::path& parent)
      : path(parent /
             ("orb-bench-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()))) {
    if (!fs::create_directory(path)) give_up("cannot make a folder");
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  fs::path path;
};

}  // namespace

std::string scratch_path(const std::string& name, Place place) {
  static const Folder disk(fs::temp_directory_path());
  static const Folder memory(fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path());
  return ((place == Place::disk ? disk : memory).path / name).string();
}

ORB_IFD described(int32_t width, int32_t height, int32_t channels, uint32_t type, int32_t bits) {
  ORB_IFD ifd = {};
  ifd.curve = {ORB_CURVE_GAMMA, 1, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
  ifd.pixel_aspect = 1;
  ifd.aspect_kind = 1;
  ifd.orientation = ORB_BOTTOM_UP;
  ifd.window = ifd.active_window = {0, width - 1, 0, height - 1};
  ifd.color = {nullptr, channels, type, bits};
  ifd.matte = ifd.aux = {nullptr, 0, type, bits};
  ifd.index = {nullptr, 0, ORB_C_INTEGER, 8};
  return ifd;
}

ORB_IFD described(const Picture& picture) {
  const uint32_t type = picture.depth == Depth::floats ? ORB_C_FLOAT : ORB_C_INTEGER;
  ORB_IFD ifd = described(static_cast<int32_t>(picture.width), static_cast<int32_t>(picture.height),
                          static_cast<int32_t>(picture.colour_channels), type, bits_of(picture.depth));
  ifd.matte.count = static_cast<int32_t>(picture.matte_channels);
  ifd.aux.count = static_cast<int32_t>(picture.aux_channels);
  return ifd;
}

void close(ORB_IMAGE* image) {
  if (ORB_close(image) != 0) give_up("cannot close a file");
}

File::File(const std::string& at, const ORB_IFD& description)
    : path(at), key(fs::path(at).extension().string().substr(1)), ifd(description) {
  static const int32_t started = HOST_start(nullptr);
  if (started != 0) give_up("the library does not start");
  ORB_info_init(&info);
  info.handle = path.data();
  info.key = key.data();
  info.open_option = 1;
  info.images = &ifd;
  info.image_count = 1;
}

File::~File() {
  ORB_mem_remove(path.c_str());
  std::remove(path.c_str());
}

ORB_IMAGE* File::open(const char* mode) {
  ORB_IMAGE* image = ORB_open(&info, mode);
  if (!image) give_up("cannot open " + path);
  return image;
}

void File::write(const Picture& picture) {
  write([&](int32_t line, void** rows) {
    for (size_t c = 0; c < picture.channels(); ++c) {
      rows[c] = const_cast<uint8_t*>(picture.row(static_cast<size_t>(line), c).data());
    }
  });
}

}  // namespace orb::bench
