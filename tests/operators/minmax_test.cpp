// The min-max transform beside a slow, obvious version.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "orbbase/operators/minmax_rows.h"
#include "tests/operators/operator_image.h"

namespace {

using namespace orb::testing;

// The documented formula, one sample at a time; the width is that of the image channels.
uint8_t slow_sample(uint8_t sample, double min, double max, int32_t width) {
  const float product = static_cast<float>(sample) * static_cast<float>(max - min);
  const auto offset = static_cast<int64_t>(std::trunc(std::pow(2.0, width) * min));
  return static_cast<uint8_t>(static_cast<int64_t>(std::trunc(product)) + offset);
}

constexpr struct {
  double min, max;
} kIntervals[] = {{0.25, 0.75}, {0, 0.5},      {0.5, 1},       {1, 0},          {0, 0.999},
                  {-1, 3},      {0.1, 0.1},    {0.3, 0.97},    {0.123456, 0.7}, {0, 1.0 / 3},
                  {0, 77.7},    {5, -300},     {0, 1.0000001}, {2.0, 3.0},      {0, 70000.123456},
                  {0, 1.0 / 7}, {0, 2.0 / 51}, {0.5, 1.5},     {0, 1 - 0x1p-53}};

TEST(MinMax, EveryIntervalAndRowWidthIsAsTheFormulaSays) {
  for (const auto& [min, max] : kIntervals) {
    for (int32_t width = 1; width <= 67; ++width) {
      const int32_t bits = width % 16 == 5 ? 5 : 8;
      Picture picture("mm.mem", "mem");
      picture.window({-3, width + 1, 0, 1}).active({-1, width - 2, 0, 1});
      picture.group(&ORB_IFD::color, 3, ORB_C_INTEGER, bits).group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 4);
      picture.group(&ORB_IFD::aux, 1, ORB_C_INTEGER, 8);
      const Image image = open_written(picture);
      const size_t samples = window_width(image->info.images[0]);
      const auto raw = read_line<uint8_t>(image.get(), 1, 5, samples);
      ORB__minmax(image.get(), min, max);
      ASSERT_NE(image->layers, nullptr);
      const auto seen = read_line<uint8_t>(image.get(), 1, 5, samples);
      ASSERT_EQ(seen.size(), 5u);
      for (size_t c = 0; c < 5; ++c) {
        for (size_t i = 0; i < samples; ++i) {
          const bool is_active = i >= 2 && i < 2 + static_cast<size_t>(width);
          ASSERT_EQ(seen[c][i], is_active ? slow_sample(raw[c][i], min, max, bits) : raw[c][i])
              << min << ' ' << max << ' ' << width << ' ' << i;
        }
      }
    }
  }
}

// Every 8-bit scale a person would ask for goes through the vectors, and the vectors agree with the table.
TEST(MinMax, VectorsAgreeWithTheTable) {
  std::vector<uint8_t> all(256 + 17);
  for (int32_t step = -2000; step <= 2000; ++step) {
    const float scale = static_cast<float>(step) / 997;
    const orb::minmax::Ramp ramp = orb::minmax::make_ramp(scale, step);
    ASSERT_TRUE(ramp.is_linear) << scale;
    for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<uint8_t>(i);
    orb::minmax::apply(ramp, all);
    for (size_t i = 0; i < all.size(); ++i) ASSERT_EQ(all[i], ramp.table[i % 256]) << scale << ' ' << i;
  }
  for (const float odd : {std::numeric_limits<float>::infinity(), std::nanf(""), 1e30f, -1e9f}) {
    const orb::minmax::Ramp ramp = orb::minmax::make_ramp(odd, 3);
    orb::minmax::apply(ramp, all);
    EXPECT_EQ(ramp.table[0], 3);
  }
}

}  // namespace
