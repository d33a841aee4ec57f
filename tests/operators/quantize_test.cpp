// The quantize operator beside a slow, obvious version.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "orbbase/operators/quantize_rows.h"
#include "tests/operators/operator_image.h"
#include "tests/support/report_recorder.h"

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
  for (int32_t width = 1; width <= 32; ++width) {
    const uint32_t bytes = orb::quantize::integer_bytes(width);
    std::vector<uint8_t> out(samples.size() * bytes + 1);
    const auto* in = reinterpret_cast<const uint8_t*>(samples.data());
    converter(type, width)(in, out.data() + 1, samples.size(), factor(width));  // at an odd address
    for (size_t i = 0; i < samples.size(); ++i) {
      uint32_t code = 0;
      std::memcpy(&code, out.data() + 1 + i * bytes, bytes);
      ASSERT_EQ(code, slow_sample(samples[i], width)) << samples[i] << " width " << width;
    }
  }
}

TEST(QuantizeRows, EveryWidthOfBothPrecisions) {
  expect_every_width<float>(ORB_C_FLOAT);
  expect_every_width<double>(ORB_C_DOUBLE);
}

TEST(QuantizeRows, EveryCountLeavesItsNeighboursAlone) {
  const std::vector<float> samples = telling_samples<float>();
  const auto* in = reinterpret_cast<const uint8_t*>(samples.data());
  for (const int32_t width : {8, 16, 32}) {
    const size_t bytes = orb::quantize::integer_bytes(width);
    for (size_t count = 0; count <= 67; ++count) {
      std::vector<uint8_t> out((count + 1) * bytes, 0xCD);
      converter(ORB_C_FLOAT, width)(in, out.data(), count, factor(width));
      for (size_t i = count * bytes; i < out.size(); ++i) ASSERT_EQ(out[i], 0xCD) << width << ' ' << count;
    }
  }
}

TEST(QuantizeRows, StatedExamples) {
  const float samples[] = {1.0f, 0.5f, 0.999f, 0.0f, 1.5f};
  uint8_t codes[5];
  converter(ORB_C_FLOAT, 8)(reinterpret_cast<const uint8_t*>(samples), codes, 5, factor(8));
  EXPECT_THAT(std::vector<int>(codes, codes + 5), ::testing::ElementsAre(255, 127, 255, 0, 127));
}

// One row of a float image with numbers that mean something.
void write_reals(const Picture& picture, uint32_t type) {
  const Image image = open_to_write(picture);
  ORB_IFD ifd = picture.ifds[0];
  const int32_t width = ifd.window.right - ifd.window.left + 1;
  void** rows = ORB_chan_alloc(&ifd, width, "test", nullptr);
  for (int32_t line = ifd.window.bottom; line <= ifd.window.top; ++line) {
    for (int32_t c = 0; c < ifd.color.count; ++c) {
      for (int32_t i = 0; i < width; ++i) {
        const double value = 0.01 * i + 0.1 * c + line;
        if (type == ORB_C_FLOAT) {
          static_cast<float*>(rows[c])[i] = static_cast<float>(value);
        } else {
          static_cast<double*>(rows[c])[i] = value;
        }
      }
    }
    ASSERT_EQ(ORB_scan_write(image.get(), line, rows), 0);
  }
  ORB_chan_free(rows);
}

template <class Real, class Code>
void expect_read(uint32_t type, int32_t width) {
  Picture picture("q.mem", "mem");
  picture.window({-4, 60, 0, 1}).active({-1, 57, 0, 1}).group(&ORB_IFD::color, 3, type, 8 * sizeof(Real));
  write_reals(picture, type);
  ORB_INFO info = picture.info();
  const Image image(ORB_open(&info, "r"));
  const auto raw = read_line<Real>(image.get(), 1, 3, 65);
  const ORB_QUANTIZE_TARGET target = {ORB_C_INTEGER, width};
  ORB__quantize(image.get(), ORB_MODE_READ, &target, &target, nullptr);
  ASSERT_NE(image->layers, nullptr);
  EXPECT_EQ(image->info.images[0].color.type, uint32_t{ORB_C_INTEGER});
  EXPECT_EQ(image->info.images[0].color.width, width);
  EXPECT_EQ(image->info.images[0].matte.width, 8);  // a class without channels keeps what it has
  const auto seen = read_line<Code>(image.get(), 1, 3, 65);
  for (size_t c = 0; c < 3; ++c) {
    for (size_t i = 0; i < 65; ++i) {
      const bool is_active = i >= 3 && i <= 61;
      ASSERT_EQ(seen[c][i], is_active ? slow_sample(raw[c][i], width) : 0) << c << ' ' << i;
    }
  }
  EXPECT_EQ(ORB__quantize_remove(image.get()), 1);
  EXPECT_EQ(image->info.images[0].color.type, type);
  EXPECT_EQ(read_line<Real>(image.get(), 1, 3, 65), raw);
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
  std::vector<float> row(23);
  for (size_t i = 0; i < row.size(); ++i) row[i] = static_cast<float>(i) / 20;
  {
    const Image image = open_to_write(picture);
    const ORB_QUANTIZE_TARGET target = {ORB_C_FLOAT, 32};
    ORB__quantize(image.get(), ORB_MODE_WRITE, &target, nullptr, nullptr);
    EXPECT_EQ(image->info.images[0].color.type, uint32_t{ORB_C_FLOAT});
    void* rows[] = {row.data(), row.data(), row.data()};
    for (const int32_t line : {0, 1, 2}) ASSERT_EQ(ORB_scan_write(image.get(), line, rows), 0);
    const ReportRecorder recorder;
    EXPECT_EQ(ORB_scan_write(image.get(), 4, rows), ORB_E_SCANLINE);  // the driver's word
    EXPECT_EQ(recorder.reports.size(), 1u);
  }
  ORB_INFO info = picture.info();
  const Image image(ORB_open(&info, "r"));
  EXPECT_EQ(image->info.images[0].color.type, uint32_t{ORB_C_INTEGER});
  const auto stored = read_line<uint8_t>(image.get(), 2, 3, 23);
  for (size_t i = 2; i <= 20; ++i) EXPECT_EQ(stored[2][i], slow_sample(row[i], 8)) << i;
}

// No step between real samples and integers: bytes stay, and what is missing is zeros, never someone else's.
TEST(Quantize, OtherDifferencesChangeTheDescriptionAlone) {
  Picture picture("q.mem", "mem");
  picture.group(&ORB_IFD::color, 2, ORB_C_FLOAT, 32).group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 8);
  const Image image = open_written(picture);
  const auto raw = read_line<uint8_t>(image.get(), 1, 3, 7);
  const ORB_QUANTIZE_TARGET wide = {ORB_C_DOUBLE, 64};
  const ORB_QUANTIZE_TARGET words = {ORB_C_INTEGER, 16};
  ORB__quantize(image.get(), ORB_MODE_READ, &wide, &words, nullptr);
  EXPECT_EQ(image->info.images[0].color.type, uint32_t{ORB_C_DOUBLE});
  EXPECT_EQ(image->info.images[0].matte.width, 16);
  void** rows = nullptr;
  ASSERT_EQ(ORB_scan_read(image.get(), 1, &rows), 0);
  const auto matte = row_samples<uint8_t>(rows[2], 14);
  for (size_t i = 0; i < 14; ++i) EXPECT_EQ(matte[i], i < 7 ? raw[2][i] : 0) << i;
  EXPECT_EQ(row_samples<double>(rows[1], 7)[6], 0.0);
}

TEST(Quantize, NothingToConvertInstallsNothing) {
  const ORB_QUANTIZE_TARGET bytes = {ORB_C_INTEGER, 8};
  const ORB_QUANTIZE_TARGET real = {ORB_C_FLOAT, 32};
  const Image integers = open_written(Picture("q.mem", "mem"));
  ORB__quantize(integers.get(), ORB_MODE_READ, &bytes, &bytes, &bytes);
  EXPECT_EQ(integers->layers, nullptr);
  const Picture floats = Picture("f.mem", "mem").group(&ORB_IFD::color, 3, ORB_C_FLOAT, 32);
  const Image writing = open_to_write(floats);
  ORB__quantize(writing.get(), ORB_MODE_WRITE, &real, nullptr, nullptr);
  EXPECT_EQ(writing->layers, nullptr);
  Picture other = floats;
  other.ifds[0].aspect_kind = 2;
  const Image kind = open_written(other);
  ORB__quantize(kind.get(), ORB_MODE_READ, &bytes, nullptr, nullptr);
  EXPECT_EQ(kind->layers, nullptr);
  const Image plain = open_written(floats);
  ORB__quantize(plain.get(), 0, &bytes, nullptr, nullptr);
  EXPECT_EQ(plain->layers, nullptr);
  EXPECT_EQ(orb__err, ORB_OK);
}

TEST(Quantize, TargetsThatNoRowCanHaveAreRefused) {
  const Image image = open_written(Picture("q.mem", "mem").group(&ORB_IFD::color, 3, ORB_C_FLOAT, 32));
  const struct {
    ORB_QUANTIZE_TARGET target;
    const char* text;
  } cases[] = {{{ORB_C_INTEGER, 0}, "quantize operator cannot handle image channel width"},
               {{ORB_C_INTEGER, 33}, "quantize operator cannot handle image channel width"},
               {{4, 8}, "quantize operator cannot handle image channel type"}};
  for (const auto& c : cases) {
    const ReportRecorder recorder;
    ORB__quantize(image.get(), ORB_MODE_READ, &c.target, nullptr, nullptr);
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(recorder.texts(), c.text);
    EXPECT_EQ(image->layers, nullptr);
  }
}

TEST(Quantize, FilesOfNoWidthCountAsOfNoBits) {
  for (const int32_t width : {-1, INT32_MIN}) EXPECT_EQ(factor(width), factor(0)) << width;
}

}  // namespace
