// Opening and reading images of the "mem" driver, against the C library opening a file and copying memory.
#include <cstdio>

#include "bench/file.h"
#include "bench/frame.h"
#include "bench/pairs.h"

namespace {

using namespace orb::bench;

constexpr int32_t kChannels = 3;

// A picture that the library holds under a name, and chooses the driver of by it.
struct HeldPicture : File {
  HeldPicture(int32_t width, int32_t height, uint32_t type, int32_t bits)
      : File("bench/picture.mem", described(width, height, kChannels, type, bits)) {
    info.key = nullptr;
    info.open_option = 0;
    write([](int32_t, void**) {});
  }
};

void open_mem(benchmark::State& state) {
  HeldPicture picture(16, 16, ORB_C_INTEGER, 8);
  for (auto _ : state) {
    ORB_IMAGE* image = picture.open("r");
    benchmark::DoNotOptimize(image);
    close(image);
  }
}

void open_file(benchmark::State& state) {
  const std::string path = scratch_path("empty");
  std::FILE* made = std::fopen(path.c_str(), "wb");
  if (!made || std::fclose(made) != 0) give_up("cannot make a file to open");
  for (auto _ : state) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    benchmark::DoNotOptimize(file);
    if (!file || std::fclose(file) != 0) give_up("cannot open the file");
  }
}

void read_mem(benchmark::State& state, uint32_t type, int32_t bits) {
  HeldPicture picture(kFrameWidth, kFrameHeight, type, bits);
  ORB_IMAGE* image = picture.open("r");
  for (auto _ : state) {
    read_lines(image, [](int32_t, void** rows) {
      benchmark::DoNotOptimize(rows);
      benchmark::ClobberMemory();
    });
  }
  close(image);
}

// The same bytes, line by line, into one row.
Side copied(size_t sample_bytes) {
  return on(copy_lines, kChannels * kFrameWidth * sample_bytes, kFrameHeight);
}

const Pairs pairs({
    {"ORB_open + ORB_close, mem", open_mem, "fopen + fclose", open_file, 1.0},
    {"ORB_scan_read, mem, 8 bits", on(read_mem, ORB_C_INTEGER, 8), "memcpy", copied(1), at(0.8)},
    {"ORB_scan_read, mem, 16 bits", on(read_mem, ORB_C_INTEGER, 16), "memcpy", copied(2), at(0.8)},
    {"ORB_scan_read, mem, float", on(read_mem, ORB_C_FLOAT, 32), "memcpy", copied(4), at(0.8)},
});

}  // namespace
