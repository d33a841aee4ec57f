// convert_memory ORB FOLDER: makes a 16-bit picture of 8192 x 8192 in FOLDER, has the tool convert it from PNG to
// PNG, and holds the most memory that the conversion had against its goal. Status 1 when it is over, 2 when
// something failed.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <string>

#include "bench/file.h"
#include "orbbase/host.h"

namespace {

using namespace orb::bench;

constexpr int32_t kSide = 8192;
constexpr long kGoalKilobytes = 64 * 1024;

// Bits that no codec makes smaller, with the weakest compression: what is measured is memory.
void write_noise(File& file) {
  auto* settings = static_cast<ORB_CAP_SETTING**>(ERR_malloc(2 * sizeof(ORB_CAP_SETTING*)));
  settings[0] = ORB_cap_setting_alloc(1);
  *settings[0] = {2, {1}};
  settings[1] = nullptr;
  file.info.settings = settings;
  std::mt19937 random(1);
  file.write([&](int32_t, void** rows) {
    for (int channel = 0; channel < 3; ++channel) {
      auto* row = static_cast<uint16_t*>(rows[channel]);
      for (int32_t i = 0; i < kSide; ++i) row[i] = static_cast<uint16_t>(random());
    }
  });
}

// The most memory that the command had, in kilobytes.
long peak_of(const char* program, const std::string& from, const std::string& to) {
  const pid_t process = fork();
  if (process == 0) {
    execl(program, program, "convert", "-f", "--set", "compression=1", from.c_str(), "-o", to.c_str(),
          nullptr);
    _exit(127);
  }
  int status = 0;
  rusage usage = {};
  if (process < 0 || wait4(process, &status, 0, &usage) != process || status != 0) {
    give_up("the tool does not convert");
  }
  return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::string folder = argv[2];
  File file(folder + "/large.png", described(kSide, kSide, 3, ORB_C_INTEGER, 16));
  write_noise(file);
  HOST_stop();  // the command's peak begins with what this process has
  const std::string to = folder + "/converted.png";
  const long peak = peak_of(argv[1], file.path, to);
  std::remove(to.c_str());
  const bool is_within = peak <= kGoalKilobytes;
  std::printf("orb convert, 16-bit RGB %d x %d, PNG to PNG: %ld KB of memory at most, goal %ld KB, %s\n",
              kSide, kSide, peak, kGoalKilobytes, is_within ? "ok" : "OVER");
  return is_within ? 0 : 1;
}
