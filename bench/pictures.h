// The pictures that the benchmarks of the file formats code: photographs (the samples), a rendered scene with
// matte and depth, and made ones from flat facets to noise, each at several widths of its samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace orb::bench {

enum class Depth { bits8, bits10, bits16, floats };

constexpr int32_t bits_of(Depth depth) {
  constexpr int32_t kBits[] = {8, 10, 16, 32};
  return kBits[static_cast<size_t>(depth)];
}
constexpr size_t sample_bytes(Depth depth) { return static_cast<size_t>(bits_of(depth) + 7) / 8; }

// What is in a picture.
enum class Subject { coffee, chelsea, scene, gradients, facets, grain };

// A picture line by line, in a line channel by channel: colour, matte, depth.
struct Picture {
  size_t width;
  size_t height;
  size_t colour_channels;
  size_t matte_channels;
  size_t aux_channels;
  Depth depth;
  std::vector<uint8_t> bytes;

  [[nodiscard]] size_t channels() const { return colour_channels + matte_channels + aux_channels; }
  [[nodiscard]] size_t row_bytes() const { return width * sample_bytes(depth); }
  [[nodiscard]] std::span<const uint8_t> row(size_t line, size_t channel) const {
    return std::span(bytes).subspan((line * channels() + channel) * row_bytes(), row_bytes());
  }
};

// "coffee, 10 bits".
std::string picture_name(Subject subject, Depth depth);

// Made on first use, then kept. Ends the program when a sample cannot be read.
const Picture& picture(Subject subject, Depth depth);

}  // namespace orb::bench
