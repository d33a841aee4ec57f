// Opening and reading images of the "mem" driver, against the C library opening a file and copying memory.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/pairs.h"
#include "orbbase/core.h"

namespace {

constexpr int32_t kChannels = 3;

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "core_bench: %s\n", what);
  std::exit(2);
}

// A picture that the library holds under a name.
struct HeldPicture {
  HeldPicture(const char* name, int32_t width, int32_t height, uint32_t type, int32_t bits) {
    ORB_info_init(&info);
    info.handle = const_cast<char*>(name);
    info.image_count = 1;
    info.images = &ifd;
    ifd.curve.kind = ORB_CURVE_GAMMA;
    ifd.curve.gamma = 1.0f;
    ifd.orientation = ORB_BOTTOM_UP;
    ifd.window = ifd.active_window = {0, width - 1, 0, height - 1};
    for (ORB_CHANNELS* group : {&ifd.matte, &ifd.aux, &ifd.index}) *group = {nullptr, 0, ORB_C_INTEGER, 8};
    ifd.color = {nullptr, kChannels, type, bits};
    write(width, height);
  }
  ~HeldPicture() { ORB_mem_remove(info.handle); }
  HeldPicture(const HeldPicture&) = delete;
  HeldPicture& operator=(const HeldPicture&) = delete;

  ORB_INFO info;
  ORB_IFD ifd = {};

 private:
  void write(int32_t width, int32_t height) {
    ORB_IMAGE* writer = ORB_open(&info, "w");
    void** rows = ORB_chan_alloc(&ifd, width, "bench", nullptr);
    if (!writer || !rows) give_up("no memory for the picture");
    for (int32_t line = 0; line < height; ++line) {
      if (ORB_scan_write(writer, line, rows) != 0) give_up("cannot write the picture");
    }
    ORB_chan_free(rows);
    if (ORB_close(writer) != 0) give_up("cannot keep the picture");
  }
};

// ---- Opening and closing ----

void open_mem(benchmark::State& state) {
  HeldPicture picture("bench/small.mem", 16, 16, ORB_C_INTEGER, 8);
  for (auto _ : state) {
    ORB_IMAGE* image = ORB_open(&picture.info, "r");
    benchmark::DoNotOptimize(image);
    if (ORB_close(image) != 0) give_up("cannot open the picture");
  }
}

void open_file(benchmark::State& state) {
  const char* folder = std::getenv("TMPDIR");
  const std::string path = std::string(folder ? folder : ".") + "/orb-core-bench.file";
  std::FILE* made = std::fopen(path.c_str(), "wb");
  if (!made || std::fclose(made) != 0) give_up("cannot make a file to open");
  for (auto _ : state) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    benchmark::DoNotOptimize(file);
    if (!file || std::fclose(file) != 0) give_up("cannot open the file");
  }
  std::remove(path.c_str());
}

// ---- Reading all scanlines of a large picture ----

constexpr int32_t kWidth = 4096;
constexpr int32_t kHeight = 2160;

template <uint32_t type, int32_t bits>
void read_mem(benchmark::State& state) {
  HeldPicture picture("bench/large.mem", kWidth, kHeight, type, bits);
  ORB_IMAGE* image = ORB_open(&picture.info, "r");
  if (!image) give_up("cannot open the picture");
  for (auto _ : state) {
    for (int32_t line = 0; line < kHeight; ++line) {
      void** rows = nullptr;
      if (ORB_scan_read(image, line, &rows) != 0) give_up("cannot read the picture");
      benchmark::DoNotOptimize(rows);
      benchmark::ClobberMemory();
    }
  }
  ORB_close(image);
}

// Memory that begins where a large copy is fastest.
struct alignas(64) Block {
  unsigned char bytes[64] = {};
};

// The same bytes, line by line, into one row.
template <size_t sample_bytes>
void copy_memory(benchmark::State& state) {
  constexpr size_t kLineBytes = size_t{kChannels} * kWidth * sample_bytes;
  constexpr size_t kLineBlocks = kLineBytes / sizeof(Block);
  const std::vector<Block> picture(kLineBlocks * kHeight);
  std::vector<Block> row(kLineBlocks);
  for (auto _ : state) {
    for (size_t line = 0; line < kHeight; ++line) {
      std::memcpy(row.data(), picture.data() + line * kLineBlocks, kLineBytes);
      benchmark::DoNotOptimize(row.data());
      benchmark::ClobberMemory();
    }
  }
}

// Four fifths of the speed of memcpy.
constexpr double kReadGoal = 1.25;

const orb::bench::Pairs pairs({
    {"ORB_open + ORB_close, mem", open_mem, "fopen + fclose", open_file, 1.0},
    {"ORB_scan_read, mem, 8 bits", read_mem<ORB_C_INTEGER, 8>, "memcpy", copy_memory<1>, kReadGoal},
    {"ORB_scan_read, mem, 16 bits", read_mem<ORB_C_INTEGER, 16>, "memcpy", copy_memory<2>, kReadGoal},
    {"ORB_scan_read, mem, float", read_mem<ORB_C_FLOAT, 32>, "memcpy", copy_memory<4>, kReadGoal},
});

}  // namespace
