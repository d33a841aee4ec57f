// Frames of 4096 x 2160 in memory, and the peers that copy and convert them.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" {
#include <libswscale/swscale.h>
}

namespace orb::bench {

constexpr int32_t kFrameWidth = 4096;
constexpr int32_t kFrameHeight = 2160;
constexpr size_t kFramePixels = size_t{kFrameWidth} * kFrameHeight;

// Memory that begins where a large copy is fastest.
class Plane {
 public:
  explicit Plane(size_t bytes) : blocks_((bytes + sizeof(Block) - 1) / sizeof(Block)) {}
  [[nodiscard]] uint8_t* data() { return blocks_[0].bytes; }

 private:
  struct alignas(4096) Block {
    uint8_t bytes[4096] = {};
  };
  std::vector<Block> blocks_;
};

// Planes of noise, made on first use and then kept: integers of so many bits in one byte or two, or floats
// from 0 to 1 where there are 32.
Plane& noise(int32_t bits, size_t channels);

// Where the samples go: 8 bytes a pixel.
Plane& target();

// memcpy of a frame.
void copy_frame(benchmark::State& state, size_t pixel_bytes);

// memcpy of so many lines, into one.
void copy_lines(benchmark::State& state, size_t line_bytes, size_t lines);

// libswscale on a frame; planes in its own order.
void convert_frame(benchmark::State& state, AVPixelFormat from, const uint8_t* const (&planes)[4],
                   size_t sample_bytes, AVPixelFormat to, size_t pixel_bytes);

}  // namespace orb::bench
