// convert_memory ORB FOLDER: makes a 16-bit picture of 8192 x 8192 in FOLDER, has the tool convert it from PNG to
// PNG, and holds the most memory that the conversion had against its goal. Status 1 when it is over, 2 when
// something failed.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "orbbase/core.h"
#include "orbbase/host.h"

namespace {

constexpr int32_t kSide = 8192;
constexpr long kGoalKilobytes = 64 * 1024;

// Bits that no codec makes smaller.
struct Noise {
  uint32_t state = 1;
  uint16_t next() {
    state = state * 1664525u + 1013904223u;
    return static_cast<uint16_t>(state >> 16);
  }
};

bool write_rows(ORB_IMAGE* image, void** rows) {
  Noise noise;
  for (int32_t line = kSide - 1; line >= 0; --line) {
    for (int channel = 0; channel < 3; ++channel) {
      auto* row = static_cast<uint16_t*>(rows[channel]);
      for (int32_t i = 0; i < kSide; ++i) row[i] = noise.next();
    }
    if (ORB_scan_write(image, line, rows) != 0) return false;
  }
  return true;
}

bool make_picture(std::string name) {
  ORB_INFO info;
  ORB_info_init(&info);
  ORB_IFD ifd = {};
  ifd.curve = {ORB_CURVE_GAMMA, 2.2f, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
  ifd.pixel_aspect = 1.0f;
  ifd.window = ifd.active_window = {0, kSide - 1, 0, kSide - 1};
  ifd.color = {nullptr, 3, ORB_C_INTEGER, 16};
  ifd.matte = ifd.aux = ifd.index = {nullptr, 0, ORB_C_INTEGER, 8};
  ORB_CAP_SETTING compression = {2, {1}};  // the weakest that compresses: what is measured is memory
  auto* settings = static_cast<ORB_CAP_SETTING**>(ERR_malloc(2 * sizeof(ORB_CAP_SETTING*)));
  settings[0] = ORB_cap_setting_alloc(1);
  *settings[0] = compression;
  settings[1] = nullptr;
  info.handle = name.data();
  info.settings = settings;
  info.image_count = 1;
  info.images = &ifd;
  ORB_IMAGE* image = ORB_open(&info, "w");
  void** rows = image ? ORB_chan_alloc(&ifd, kSide, "png", nullptr) : nullptr;
  const bool is_written = rows && write_rows(image, rows);
  ORB_chan_free(rows);
  return image && ORB_close(image) == 0 && is_written;
}

// The most memory that the command had, in kilobytes, or -1.
long peak_of(const char* program, const std::string& from, const std::string& to) {
  const pid_t process = fork();
  if (process < 0) return -1;
  if (process == 0) {
    execl(program, program, "convert", "-f", "--set", "compression=1", from.c_str(), "-o", to.c_str(),
          nullptr);
    _exit(127);
  }
  int status = 0;
  rusage usage = {};
  if (wait4(process, &status, 0, &usage) != process || status != 0) return -1;
  return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || HOST_start(nullptr) != 0) return 2;
  const std::string from = std::string(argv[2]) + "/large.png";
  const std::string to = std::string(argv[2]) + "/converted.png";
  const bool is_made = make_picture(from);
  HOST_stop();
  const long peak = is_made ? peak_of(argv[1], from, to) : -1;
  std::remove(from.c_str());
  std::remove(to.c_str());
  if (peak < 0) return 2;
  const bool is_within = peak <= kGoalKilobytes;
  std::printf("orb convert, 16-bit RGB %d x %d, PNG to PNG: %ld KB of memory at most, goal %ld KB, %s\n",
              kSide, kSide, peak, kGoalKilobytes, is_within ? "ok" : "OVER");
  return is_within ? 0 : 1;
}
