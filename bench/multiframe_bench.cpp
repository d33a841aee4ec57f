// Opening a multi-frame file again out of the cache, against opening it: a GIF of 12 frames, made here.
#include <random>

#include "bench/file.h"
#include "bench/pairs.h"

namespace {

using namespace orb::bench;

constexpr int32_t kWidth = 640;
constexpr int32_t kFrames = 12;

struct Animation : File {
  Animation() : File(scratch_path("picture.gif"), described(kWidth, 360, 1, ORB_C_INTEGER, 8)) {
    info.key = nullptr;
    info.open_option = 0;
    info.frame_count = kFrames;
    std::mt19937 random(1);
    ORB_IMAGE* writer = open("w");
    for (int32_t frame = 1; frame <= kFrames; ++frame) {
      if (ORB_set_frame(writer, frame, 0, 0) != 0) give_up("cannot begin a frame");
      // A shallow slope of greys with noise, which moves: it packs about as a dithered photograph does.
      write_lines(writer, [&](int32_t line, void** rows) {
        auto* row = static_cast<uint8_t*>(rows[0]);
        for (int32_t x = 0; x < kWidth; ++x) {
          row[x] = static_cast<uint8_t>(static_cast<uint32_t>((x + line + frame * 8) / 8) + (random() >> 28));
        }
      });
    }
    close(writer);
  }
};

void open_file(benchmark::State& state, int32_t is_cached) {
  Animation file;
  ORB_multiframe_set(is_cached, 15);
  for (auto _ : state) {
    ORB_IMAGE* image = file.open("r");
    benchmark::DoNotOptimize(image);
    if (image->info.frame_count != kFrames) give_up("the file has other frames");
    close(image);
  }
  ORB_multiframe_set(0, 0);
}

const Pairs pairs({
    {"ORB_open + ORB_close, cached, 12 frames of GIF", on(open_file, 1), "the file itself", on(open_file, 0),
     0.01},
});

}  // namespace
