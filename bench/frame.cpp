#include "bench/frame.h"

#include <cstring>
#include <map>
#include <random>
#include <utility>

#include "bench/give_up.h"

namespace orb::bench {
namespace {

template <class Sample, class Make>
Plane filled(size_t count, Make make) {
  Plane plane(count * sizeof(Sample));
  std::mt19937 random(1);
  for (size_t i = 0; i < count; ++i) {
    const auto sample = static_cast<Sample>(make(static_cast<uint32_t>(random())));
    std::memcpy(plane.data() + i * sizeof sample, &sample, sizeof sample);
  }
  return plane;
}

Plane made_noise(int32_t bits, size_t count) {
  const auto highest = [bits](uint32_t random) { return random >> (32 - bits); };
  if (bits <= 8) return filled<uint8_t>(count, highest);
  if (bits <= 16) return filled<uint16_t>(count, highest);
  return filled<float>(count, [](uint32_t random) { return static_cast<float>(random >> 8) / 0x1000000; });
}

}  // namespace

Plane& noise(int32_t bits, size_t channels) {
  static std::map<std::pair<int32_t, size_t>, Plane> kept;
  const std::pair wanted(bits, channels);
  const auto found = kept.find(wanted);
  if (found != kept.end()) return found->second;
  return kept.emplace(wanted, made_noise(bits, channels * kFramePixels)).first->second;
}

Plane& target() {
  static Plane plane(8 * kFramePixels);
  return plane;
}

void copy_frame(benchmark::State& state, size_t pixel_bytes) {
  static Plane source(8 * kFramePixels);
  for (auto _ : state) {
    std::memcpy(target().data(), source.data(), kFramePixels * pixel_bytes);
    benchmark::ClobberMemory();
  }
}

void copy_lines(benchmark::State& state, size_t line_bytes, size_t lines) {
  Plane source(line_bytes * lines);
  Plane line(line_bytes);
  for (auto _ : state) {
    for (size_t y = 0; y < lines; ++y) {
      std::memcpy(line.data(), source.data() + y * line_bytes, line_bytes);
      benchmark::DoNotOptimize(line.data());
      benchmark::ClobberMemory();
    }
  }
}

void convert_frame(benchmark::State& state, AVPixelFormat from, const uint8_t* const (&planes)[4],
                   size_t sample_bytes, AVPixelFormat to, size_t pixel_bytes) {
  SwsContext* context = sws_getContext(kFrameWidth, kFrameHeight, from, kFrameWidth, kFrameHeight, to,
                                       SWS_POINT, nullptr, nullptr, nullptr);
  if (!context) give_up("libswscale cannot convert");
  const int stride = kFrameWidth * static_cast<int>(sample_bytes);
  const int strides[4] = {stride, stride, stride, stride};
  uint8_t* const out[4] = {target().data()};
  const int out_strides[4] = {kFrameWidth * static_cast<int>(pixel_bytes)};
  for (auto _ : state) {
    sws_scale(context, planes, strides, 0, kFrameHeight, out, out_strides);
    benchmark::ClobberMemory();
  }
  sws_freeContext(context);
}

}  // namespace orb::bench
