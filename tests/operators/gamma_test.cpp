// Gamma correction beside a slow, obvious version.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "orbbase/operators/gamma_rows.h"
#include "tests/operators/operator_image.h"

namespace {

using namespace orb::testing;

Picture picture_of(float file_gamma, int32_t active_width) {
  Picture picture("g.mem", "mem");
  picture.window({-3, active_width + 1, 0, 3}).active({-1, active_width - 2, 1, 2});
  picture.group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 8);
  picture.ifds[0].curve.gamma = file_gamma;
  return picture;
}

// A sample of the composed curve of two gammas, by the documented formula.
uint8_t slow_sample(uint32_t sample, double last, double file_gamma, double wanted_gamma) {
  const double exponent = static_cast<float>(file_gamma) / static_cast<float>(wanted_gamma);
  return static_cast<uint8_t>(std::trunc(std::pow(sample / last, exponent) * 255 + 0.5));
}

TEST(Gamma, ReadingBytesOfEveryRowWidth) {
  for (int32_t width = 1; width <= 67; ++width) {
    const Image image = open_written(picture_of(1.0f, width));
    const size_t samples = window_width(image->info.images[0]);
    const auto raw = read_line<uint8_t>(image.get(), 2, 4, samples);
    ORB_RESPONSE_CURVE wanted = gamma_curve(2.2f);
    ORB__gamma(image.get(), &wanted);
    ASSERT_NE(image->layers, nullptr);
    const auto seen = read_line<uint8_t>(image.get(), 2, 4, samples);
    for (size_t c = 0; c < 4; ++c) {
      for (size_t i = 0; i < samples; ++i) {
        const bool changes = c < 3 && i >= 2 && i < 2 + static_cast<size_t>(width);
        ASSERT_EQ(seen[c][i], changes ? slow_sample(raw[c][i], 255, 1.0, 2.2) : raw[c][i])
            << width << ' ' << i;
      }
    }
    // Both records say how they were tabulated.
    EXPECT_EQ(wanted.channel_count, 3);
    EXPECT_EQ(wanted.resolution, 4096);
    EXPECT_EQ(wanted.depth, 8);
    EXPECT_EQ(image->info.images[0].curve.resolution, 256);
    EXPECT_EQ(image->info.images[0].curve.depth, 12);
  }
}

TEST(Gamma, WritingTwelveBitsToBytes) {
  const Picture picture = picture_of(2.2f, 41);
  Line<uint16_t> rows(4, std::vector<uint16_t>(45));
  for (size_t c = 0; c < 3; ++c) {
    for (size_t i = 0; i < 45; ++i) rows[c][i] = static_cast<uint16_t>(4095 * (i + 2 * c) / 48);
  }
  rows[0][5] = 60000;  // beyond the working range
  std::fill_n(reinterpret_cast<uint8_t*>(rows[3].data()), 45, uint8_t{77});
  const auto wanted_rows = rows;
  {
    const Image image = open_to_write(picture);
    ORB_RESPONSE_CURVE wanted = gamma_curve(1.0f);
    ORB__gamma(image.get(), &wanted);
    ASSERT_NE(image->layers, nullptr);
    EXPECT_EQ(image->info.images[0].color.width, 12);
    EXPECT_EQ(wanted.resolution, 4096);
    ASSERT_EQ(write_samples(image.get(), 3, rows), 0);  // outside the active lines: as it is
    EXPECT_EQ(rows, wanted_rows);
    ASSERT_EQ(write_samples(image.get(), 1, rows), 0);
    const auto* bytes = reinterpret_cast<const uint8_t*>(rows[2].data());
    EXPECT_EQ(bytes[43] | bytes[44], 0);  // the right margin
    EXPECT_EQ(ORB__gamma_remove(image.get()), 1);
    EXPECT_EQ(image->info.images[0].color.width, 8);
  }
  const auto stored = read_line<uint8_t>(open_to_read(picture).get(), 1, 4, 45);
  for (size_t c = 0; c < 3; ++c) {
    for (size_t i = 2; i < 43; ++i) {
      const uint32_t sample = std::min<uint32_t>(wanted_rows[c][i], 4095);
      EXPECT_EQ(stored[c][i], slow_sample(sample, 4095, 1.0, 2.2)) << c << ' ' << i;
    }
  }
  EXPECT_EQ(stored[3][20], 77);
}

// Real samples go through the power or, by tables, through a straight line between two entries.
template <class Sample>
void expect_corrected(uint32_t type) {
  Picture picture("real.mem", "mem");
  picture.window({0, 8, 0, 1}).group(&ORB_IFD::color, 1, type, 32).ifds[0].curve.gamma = 1;
  const Sample nan = std::numeric_limits<Sample>::quiet_NaN();
  const std::vector<Sample> samples = {0,   Sample(-0.5), Sample(0.5), 1, 2, Sample(0.25), Sample(1.0 / 510),
                                       nan, Sample(1e-30)};
  {
    const Image image = open_to_write(picture);
    Line<Sample> rows = {samples};
    ASSERT_EQ(write_samples(image.get(), 0, rows), 0);
    ORB_RESPONSE_CURVE square = gamma_curve(2);
    ORB__gamma(image.get(), &square);
    EXPECT_EQ(image->info.images[0].color.width, 32);
    ASSERT_EQ(write_samples(image.get(), 1, rows), 0);
  }
  const auto expect_line = [&](const Image& image, int32_t line, Sample (*wanted)(Sample)) {
    const auto row = read_line<Sample>(image.get(), line, 1, samples.size()).at(0);
    for (size_t i = 0; i < samples.size(); ++i) {
      if (std::isnan(samples[i])) {
        EXPECT_TRUE(std::isnan(row[i]));
      } else {
        const Sample value = samples[i] > 0 ? wanted(samples[i]) : samples[i];
        EXPECT_NEAR(row[i], value, std::fabs(value) * 1e-6) << i << " line " << line;
      }
    }
  };
  const Image image = open_to_read(picture);
  expect_line(image, 1, [](Sample s) { return s * s; });
  ORB_RESPONSE_CURVE square = gamma_curve(2);
  ORB__gamma(image.get(), &square);
  expect_line(image, 0, [](Sample s) { return std::sqrt(s); });
  ORB__gamma_remove(image.get());
  Table inverse(1, 1, 4096, 8);
  auto* const table = static_cast<uint8_t*>(inverse.tables[0]);
  for (int32_t i = 0; i < 4096; ++i) table[i] = static_cast<uint8_t>(255 - i / 16);
  ORB__gamma(image.get(), &inverse);
  ASSERT_NE(image->layers, nullptr) << orb__err;
  expect_line(image, 0, [](Sample s) { return 1 - std::min(s, Sample{1}); });  // what is above 1 counts as 1
}

TEST(Gamma, RealSamplesFollowThePowerOrTheTables) {
  expect_corrected<float>(ORB_C_FLOAT);
  expect_corrected<double>(ORB_C_DOUBLE);
}

TEST(Gamma, TablesAreFollowedByChannel) {
  for (const int32_t bits : {8, 4}) {  // of the file; the tables are of bytes all the same
    const Image image = open_written(picture_of(1.0f, 9).group(&ORB_IFD::color, 3, ORB_C_INTEGER, bits));
    const auto raw = read_line<uint8_t>(image.get(), 1, 3, 13);
    Table wanted(3.0f, 3, 4096, 8);
    static_cast<uint8_t*>(wanted.tables[1])[4095] = 9;
    ORB__gamma(image.get(), &wanted);
    ASSERT_NE(image->layers, nullptr);
    const auto seen = read_line<uint8_t>(image.get(), 1, 3, 13);
    for (size_t c = 0; c < 3; ++c) {
      for (size_t i = 2; i < 11; ++i) {
        const auto entry = static_cast<size_t>(std::trunc(raw[c][i] * 4095.0 / 255 + 0.5));
        EXPECT_EQ(seen[c][i], static_cast<uint8_t*>(wanted.tables[c])[entry]);
      }
    }
  }
}

TEST(Gamma, BytePermutesGiveWhatTheTableSays) {
  const orb::gamma::LookUp best = orb::gamma::choose_look_up();
  uint8_t table[256];
  for (uint32_t i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(i * 37 + 11);
  for (size_t count = 0; count <= 200; ++count) {
    std::vector<uint8_t> fast(count), slow(count);
    for (size_t i = 0; i < count; ++i) fast[i] = slow[i] = static_cast<uint8_t>(i * 101 + count);
    best(orb::gamma::ByteTable(table), fast);
    orb::gamma::look_up(orb::gamma::ByteTable(table), slow);
    ASSERT_EQ(fast, slow) << count;
    for (size_t i = 0; i < count; ++i) ASSERT_EQ(slow[i], table[static_cast<uint8_t>(i * 101 + count)]);
  }
}

}  // namespace
