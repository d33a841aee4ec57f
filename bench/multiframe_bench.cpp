// Opening a multi-frame file again out of the cache, against opening it: a GIF of 12 frames, made here.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/pairs.h"
#include "orbbase/core.h"
#include "orbbase/host.h"

namespace {

constexpr int32_t kWidth = 640;
constexpr int32_t kHeight = 360;
constexpr int32_t kFrames = 12;

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "multiframe_bench: %s\n", what);
  std::exit(2);
}

std::string made_path() {
  const char* folder = std::getenv("TMPDIR");
  return std::string(folder ? folder : ".") + "/orb-multiframe-bench.gif";
}

// A shallow slope of greys with noise, which moves: it packs about as a dithered photograph does.
void fill_row(int32_t frame, int32_t line, std::vector<uint8_t>& row) {
  static uint32_t random = 1;
  for (int32_t x = 0; x < kWidth; ++x) {
    random = random * 1664525 + 1013904223;
    row[static_cast<size_t>(x)] =
        static_cast<uint8_t>((x + line + frame * 8) / 8 + static_cast<int32_t>(random >> 28));
  }
}

void write_frames(ORB_INFO& info) {
  ORB_IMAGE* writer = ORB_open(&info, "w");
  if (!writer) give_up("cannot make a file to open");
  std::vector<uint8_t> samples(kWidth);
  void* row = samples.data();
  for (int32_t frame = 1; frame <= kFrames; ++frame) {
    if (ORB_set_frame(writer, frame, 0, 0) != 0) give_up("cannot begin a frame");
    for (int32_t line = kHeight - 1; line >= 0; --line) {
      fill_row(frame, line, samples);
      if (ORB_scan_write(writer, line, &row) != 0) give_up("cannot write a row");
    }
  }
  if (ORB_close(writer) != 0) give_up("cannot finish the file");
}

// The file, for as long as a side runs.
struct MadeFile {
  MadeFile() {
    ORB_info_init(&info);
    info.handle = path.data();
    info.images = &ifd;
    info.image_count = 1;
    info.frame_count = kFrames;
    ifd.curve.kind = ORB_CURVE_GAMMA;
    ifd.curve.gamma = 1.0F;
    ifd.window = ifd.active_window = {0, kWidth - 1, 0, kHeight - 1};
    for (ORB_CHANNELS* group : {&ifd.matte, &ifd.aux, &ifd.index}) *group = {nullptr, 0, ORB_C_INTEGER, 8};
    ifd.color = {nullptr, 1, ORB_C_INTEGER, 8};
    HOST_start(nullptr);
    write_frames(info);
  }
  ~MadeFile() { std::remove(path.c_str()); }
  MadeFile(const MadeFile&) = delete;
  MadeFile& operator=(const MadeFile&) = delete;

  std::string path = made_path();
  ORB_INFO info;
  ORB_IFD ifd = {};
};

template <int32_t kEnabled>
void open_file(benchmark::State& state) {
  MadeFile file;
  ORB_multiframe_set(kEnabled, 15);
  for (auto _ : state) {
    ORB_IMAGE* image = ORB_open(&file.info, "r");
    benchmark::DoNotOptimize(image);
    if (!image || image->info.frame_count != kFrames || ORB_close(image) != 0)
      give_up("cannot open the file");
  }
  ORB_multiframe_set(0, 0);
}

const orb::bench::Pairs pairs({
    {"ORB_open + ORB_close, cached, 12 frames of GIF", open_file<1>, "the file itself", open_file<0>, 0.01},
});

}  // namespace
