// The quantize operator beside a slow, obvious version.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "orbbase/operators/quantize_rows.h"
#include "tests/operators/operator_image.h"

namespace {

using namespace orb::testing;
using orb::quantize::converter;
using orb::quantize::factor;

// The documented arithmetic, one sample at a time.
template <class Real>
uint32_t slow_sample(Real sample, int32_t width) {
  const auto scale = static_cast<Real>(std::pow(2.0, width) - 1 + 0.95);
  const Real product = sample * scale;
  if (!(product > Real{-0x1p63} && product < Real{0x1p63})) return 0;
  const auto code = static_cast<uint64_t>(static_cast<int64_t>(std::trunc(product)));
  return static_cast<uint32_t>(width <= 8 ? code & 0xFF : width <= 16 ? code & 0xFFFF : code);
}

template <class Real>
std::vector<Real> telling_samples() {
  constexpr double kNumbers[] = {0, 1, 0.5, 0.999, 1.5, -1, -0.25, 1e9, -1e9, 1e16, -1e18, 3e18, 1e30, -1e30};
  using Limits = std::numeric_limits<Real>;
  std::vector<Real> samples = {Limits::infinity(),
                               -Limits::infinity(),
                               Limits::quiet_NaN(),
                               Limits::denorm_min(),
                               std::nextafter(Real{1}, Real{0}),
                               std::nextafter(Real{1}, Real{2})};
  for (const double number : kNumbers) samples.push_back(static_cast<Real>(number));
  uint64_t state = 1;
  while (samples.size() < 4096) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    samples.push_back(static_cast<Real>(state >> 40) / 0x1000000 * Real{3} - 1);
    const auto bits = static_cast<uint32_t>(state >> 32);
    samples.push_back(static_cast<Real>(std::bit_cast<float>(bits)));
  }
  return samples;
}

template <class Real>
void expect_every_width(uint32_t type) {
  const std::vector<Real> samples = telling_samples<Real>();
  const auto* in = reinterpret_cast<const uint8_t*>(samples.data());
  for (int32_t width = 1; width <= 32; ++width) {
    const uint32_t bytes = orb::quantize::integer_bytes(width);
    for (size_t count = 0; count <= samples.size();
         count = count < 67 ? count + 1 : count + samples.size() - 67) {
      std::vector<uint8_t> out(1 + (count + 1) * bytes, 0xCD);
      converter(type, width)(in, out.data() + 1, count, factor(width));  // at an odd address
      for (size_t i = count < 67 ? count : 0; i < count; ++i) {
        uint32_t code = 0;
        std::memcpy(&code, out.data() + 1 + i * bytes, bytes);
        ASSERT_EQ(code, slow_sample(samples[i], width)) << samples[i] << " width " << width;
      }
      for (size_t i = 1 + count * bytes; i < out.size(); ++i)
        ASSERT_EQ(out[i], 0xCD) << width << ' ' << count;
    }
  }
}

TEST(QuantizeRows, EveryWidthAndCountOfBothPrecisions) {
  expect_every_width<float>(ORB_C_FLOAT);
  expect_every_width<double>(ORB_C_DOUBLE);
  const float stated[] = {1.0f, 0.5f, 0.999f, 0.0f, 1.5f};
  const int codes[] = {255, 127, 255, 0, 127};
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(slow_sample(stated[i], 8), codes[i]) << stated[i];
  for (const int32_t width : {-1, INT32_MIN}) EXPECT_EQ(factor(width), factor(0)) << width;
}

template <class Real, class Code>
void expect_read(uint32_t type, int32_t width) {
  Picture picture("q.mem", "mem");
  picture.window({-4, 60, 0, 0}).active({-1, 57, 0, 0}).group(&ORB_IFD::color, 3, type, 8 * sizeof(Real));
  Line<Real> raw(3, std::vector<Real>(65));
  for (size_t c = 0; c < 3; ++c) {
    for (size_t i = 0; i < 65; ++i)
      raw[c][i] = i >= 3 && i <= 61
                      ? static_cast<Real>(static_cast<double>(i) / 99 + static_cast<double>(c) / 9 + 1)
                      : 0;
  }
  {
    const Image image = open_to_write(picture);
    ASSERT_EQ(write_samples(image.get(), 0, raw), 0);
  }
  const Image image = open_to_read(picture);
  const ORB_QUANTIZE_TARGET target = {ORB_C_INTEGER, width};
  ORB__quantize(image.get(), ORB_MODE_READ, &target, &target, nullptr);
  ASSERT_NE(image->layers, nullptr);
  EXPECT_EQ(image->info.images[0].color.type, uint32_t{ORB_C_INTEGER});
  EXPECT_EQ(image->info.images[0].color.width, width);
  EXPECT_EQ(image->info.images[0].matte.width, 8);  // a class without channels keeps what it has
  const auto seen = read_line<Code>(image.get(), 0, 3, 65);
  for (size_t c = 0; c < 3; ++c) {
    for (size_t i = 0; i < 65; ++i) ASSERT_EQ(seen[c][i], slow_sample(raw[c][i], width)) << c << ' ' << i;
  }
  EXPECT_EQ(ORB__quantize_remove(image.get()), 1);
  EXPECT_EQ(image->info.images[0].color.type, type);
  EXPECT_EQ(read_line<Real>(image.get(), 0, 3, 65), raw);
}

TEST(Quantize, RealFilesReadAsIntegers) {
  expect_read<float, uint8_t>(ORB_C_FLOAT, 8);
  expect_read<float, uint16_t>(ORB_C_FLOAT, 12);
  expect_read<float, uint32_t>(ORB_C_FLOAT, 24);
  expect_read<double, uint8_t>(ORB_C_DOUBLE, 1);
  expect_read<double, uint16_t>(ORB_C_DOUBLE, 16);
  expect_read<double, uint32_t>(ORB_C_DOUBLE, 32);
}

TEST(Quantize, RealSamplesAreWrittenToIntegerFiles) {
  const Picture picture = Picture("q.mem", "mem").window({-2, 20, 0, 2}).active({0, 18, 1, 2});
  Line<float> rows(3, std::vector<float>(23));
  for (size_t i = 0; i < 23; ++i) rows[2][i] = static_cast<float>(i) / 20;
  {
    const Image image = open_to_write(picture);
    const ORB_QUANTIZE_TARGET target = {ORB_C_FLOAT, 32};
    ORB__quantize(image.get(), ORB_MODE_WRITE, &target, nullptr, nullptr);
    EXPECT_EQ(image->info.images[0].color.type, uint32_t{ORB_C_FLOAT});
    for (const int32_t line : {0, 1, 2}) ASSERT_EQ(write_samples(image.get(), line, rows), 0);
    EXPECT_EQ(write_samples(image.get(), 4, rows), ORB_E_SCANLINE);  // the driver's word
  }
  const Image image = open_to_read(picture);
  EXPECT_EQ(image->info.images[0].color.type, uint32_t{ORB_C_INTEGER});
  const auto stored = read_line<uint8_t>(image.get(), 2, 3, 23);
  for (size_t i = 2; i <= 20; ++i) EXPECT_EQ(stored[2][i], slow_sample(rows[2][i], 8)) << i;
}

// No step between real samples and integers: bytes stay, and what is missing is zeros, never someone else's.
TEST(Quantize, OtherDifferencesChangeTheDescriptionAlone) {
  Picture picture("q.mem", "mem");
  picture.group(&ORB_IFD::color, 2, ORB_C_FLOAT, 32).group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 8);
  const Image image = open_written(picture);
  const auto raw = read_line<uint8_t>(image.get(), 1, 3, 7);
  const ORB_QUANTIZE_TARGET wide = {ORB_C_DOUBLE, 64};
  const ORB_QUANTIZE_TARGET words = {ORB_C_INTEGER, 16};
  const ORB_QUANTIZE_TARGET none = {};  // of no channels, and so of no matter
  ORB__quantize(image.get(), ORB_MODE_READ, &wide, &words, &none);
  EXPECT_EQ(image->info.images[0].color.type, uint32_t{ORB_C_DOUBLE});
  EXPECT_EQ(image->info.images[0].matte.width, 16);
  const auto seen = read_line<uint8_t>(image.get(), 1, 3, 14);
  for (size_t i = 0; i < 14; ++i) EXPECT_EQ(seen[2][i], i < 7 ? raw[2][i] : 0) << i;
  void** rows = nullptr;
  ASSERT_EQ(ORB_scan_read(image.get(), 1, &rows), 0);
  EXPECT_EQ(static_cast<double*>(rows[1])[6], 0.0);
}

}  // namespace
