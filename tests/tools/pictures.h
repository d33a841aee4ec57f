// Pictures for the tool's tests: PNG files written and read by the codec library alone, as the independent
// oracle, and pipe streams of any description written through the library.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "orbbase/core.h"

namespace orb::testing {

struct Png {
  uint32_t width = 0;
  uint32_t height = 0;
  int depth = 0;
  int color_type = 0;
  std::vector<std::string> rows;  // from the top down, as the file packs them
  bool operator==(const Png&) const = default;
};

Png read_png(const std::string& path);

// A picture of noise.
void write_noise_png(const std::string& path, uint32_t width, uint32_t height, int depth, int color_type);

// A pipe stream of 8-bit RGB, width x height, sample value = its column + 3 * its row + its channel; change
// alters the description before it is written.
struct PipeFile {
  int32_t width = 7;
  int32_t height = 5;
  std::function<void(ORB_INFO& info, ORB_IFD& image)> change = [](ORB_INFO&, ORB_IFD&) {};
  // Puts other samples into a row than those; bytes of 0 before.
  std::function<void(void* samples, int32_t above_bottom, int32_t channel)> fill = nullptr;
  void write(const std::string& path) const;
};

// A stream of one grey channel, its samples from the top down.
template <class Sample = uint8_t>
PipeFile grey(const std::vector<std::vector<double>>& rows) {
  constexpr uint32_t kReal = sizeof(Sample) == 8 ? uint32_t{ORB_C_DOUBLE} : uint32_t{ORB_C_FLOAT};
  constexpr uint32_t kType = std::is_integral_v<Sample> ? uint32_t{ORB_C_INTEGER} : kReal;
  PipeFile file;
  file.width = static_cast<int32_t>(rows[0].size());
  file.height = static_cast<int32_t>(rows.size());
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.color = {nullptr, 1, kType, 8 * sizeof(Sample)}; };
  file.fill = [rows](void* row, int32_t above_bottom, int32_t) {
    const std::vector<double>& values = rows[rows.size() - 1 - static_cast<size_t>(above_bottom)];
    std::ranges::transform(values, static_cast<Sample*>(row),
                           [](double v) { return static_cast<Sample>(v); });
  };
  return file;
}

// What the sample of a PipeFile is.
uint8_t ramp(int64_t column, int64_t row, int64_t channel);

}  // namespace orb::testing
