#include "orbbase/operators/gamma_rows.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "orbbase/platform/processor.h"
#include "orbbase/response.h"

namespace orb::gamma {
namespace {

uint16_t sample_at(const uint8_t* samples, size_t index) {
  uint16_t sample;
  std::memcpy(&sample, samples + 2 * index, sizeof sample);
  return sample;
}

// All bits that are set in any of the samples: none of them is larger.
uint16_t bits_of(const uint8_t* samples, size_t begin, size_t end) {
  uint16_t bits = 0;
  for (size_t i = begin; i < end; ++i) bits |= sample_at(samples, i);
  return bits;
}

uint8_t clamped_entry(std::span<const uint8_t> table, size_t sample) {
  return table[std::min(sample, table.size() - 1)];
}

template <class Sample, class Map>
void map_samples(const RealSamples& samples, Map map) {
  for (size_t i = 0; i < samples.count; ++i) {
    Sample sample;
    std::memcpy(&sample, samples.first + i * sizeof sample, sizeof sample);
    if (!(sample > 0)) continue;
    sample = map(sample);
    std::memcpy(samples.first + i * sizeof sample, &sample, sizeof sample);
  }
}

template <class Map>
void map_by_type(const RealSamples& samples, Map map) {
  if (samples.type == ORB_C_FLOAT) {
    map_samples<float>(samples, map);
  } else {
    map_samples<double>(samples, map);
  }
}

}  // namespace

// Eight samples come by one load; their entries go one by one, which is faster than putting them together.
void look_up(ByteTable table, std::span<uint8_t> samples) {
  uint8_t block[8];
  size_t i = 0;
  for (; samples.size() - i >= sizeof block; i += sizeof block) {
    std::memcpy(block, &samples[i], sizeof block);
    for (size_t k = 0; k < sizeof block; ++k) samples[i + k] = table[block[k]];
  }
  for (uint8_t& sample : samples.subspan(i)) sample = table[sample];
}

LookUp choose_look_up() {
  const LookUp permute = look_up_by_permute();
  return permute && platform::has_byte_permute() ? permute : look_up;
}

void look_up_narrowing(std::span<const uint8_t> table, const uint8_t* samples, size_t count, uint8_t* out) {
  constexpr size_t kBlock = 256;
  for (size_t begin = 0; begin < count; begin += kBlock) {
    const size_t end = std::min(begin + kBlock, count);
    if (bits_of(samples, begin, end) < table.size()) {
      for (size_t i = begin; i < end; ++i) out[i] = table[sample_at(samples, i)];
    } else {
      for (size_t i = begin; i < end; ++i) out[i] = clamped_entry(table, sample_at(samples, i));
    }
  }
}

void raise(float exponent, const RealSamples& samples) {
  map_by_type(samples, [exponent]<class Sample>(Sample sample) {
    return std::pow(sample, static_cast<Sample>(exponent));
  });
}

void interpolate(std::span<const uint8_t> table, const RealSamples& samples) {
  const size_t last = table.size() - 1;
  map_by_type(samples, [table, last]<class Sample>(Sample sample) {
    const Sample position = std::min(sample, Sample{1}) * static_cast<Sample>(last);
    const auto below = static_cast<size_t>(position);
    const size_t above = std::min(below + 1, last);
    const Sample part = position - static_cast<Sample>(below);
    const Sample low = static_cast<Sample>(table[below]);
    return (low + part * (static_cast<Sample>(table[above]) - low)) / 255;
  });
}

}  // namespace orb::gamma
