// Gamma correction beside a slow, obvious version.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "orbbase/operators/gamma_rows.h"
#include "tests/operators/operator_image.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

struct Table : ORB_RESPONSE_CURVE {
  Table(float gamma_value, int32_t channels, int32_t entries, int32_t bits, int32_t type = ORB_C_INTEGER)
      : ORB_RESPONSE_CURVE(gamma_curve(gamma_value)) {
    channel_count = channels;
    resolution = entries;
    curve_type = type;
    depth = bits;
    EXPECT_EQ(ORB_response_curve_init(this), 0);
  }
  ~Table() { ORB_response_curve_done(this); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
};

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
  std::vector<std::vector<uint16_t>> rows(4, std::vector<uint16_t>(45));
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
    void* pointers[] = {rows[0].data(), rows[1].data(), rows[2].data(), rows[3].data()};
    ASSERT_EQ(ORB_scan_write(image.get(), 3, pointers), 0);  // outside the active lines: as it is
    EXPECT_EQ(rows, wanted_rows);
    ASSERT_EQ(ORB_scan_write(image.get(), 1, pointers), 0);
    const auto* bytes = reinterpret_cast<const uint8_t*>(rows[2].data());
    EXPECT_EQ(bytes[43] | bytes[44], 0);  // the right margin
    EXPECT_EQ(ORB__gamma_remove(image.get()), 1);
    EXPECT_EQ(image->info.images[0].color.width, 8);
  }
  ORB_INFO info = picture.info();
  const Image image(ORB_open(&info, "r"));
  const auto stored = read_line<uint8_t>(image.get(), 1, 4, 45);
  for (size_t c = 0; c < 3; ++c) {
    for (size_t i = 2; i < 43; ++i) {
      const uint32_t sample = std::min<uint32_t>(wanted_rows[c][i], 4095);
      EXPECT_EQ(stored[c][i], slow_sample(sample, 4095, 1.0, 2.2)) << c << ' ' << i;
    }
  }
  EXPECT_EQ(stored[3][20], 77);
}

TEST(Gamma, RealSamplesFollowThePower) {
  Picture picture = picture_of(1.0f, 9);
  picture.group(&ORB_IFD::color, 1, ORB_C_FLOAT, 32);
  const float samples[13] = {5, 5, 0.0f, 0.25f, 1.0f, 7.5f, -0.5f, -0.0f, std::nanf(""), 1e-30f, 0.5f, 5, 5};
  {
    std::vector<float> row(samples, samples + 13);
    std::vector<uint8_t> matte(13);
    void* rows[] = {row.data(), matte.data()};
    const Image image = open_to_write(picture);
    ASSERT_EQ(ORB_scan_write(image.get(), 1, rows), 0);
    ORB_RESPONSE_CURVE wanted = gamma_curve(2.0f);
    ORB__gamma(image.get(), &wanted);
    EXPECT_EQ(image->info.images[0].color.width, 32);
    ASSERT_EQ(ORB_scan_write(image.get(), 2, rows), 0);
  }
  ORB_INFO info = picture.info();
  const Image image(ORB_open(&info, "r"));
  const auto written = read_line<float>(image.get(), 2, 1, 13)[0];
  ORB_RESPONSE_CURVE wanted = gamma_curve(2.0f);
  ORB__gamma(image.get(), &wanted);
  const auto read = read_line<float>(image.get(), 1, 1, 13)[0];
  for (size_t i = 2; i < 11; ++i) {
    if (std::isnan(samples[i])) {
      EXPECT_TRUE(std::isnan(read[i]) && std::isnan(written[i]));
    } else {
      EXPECT_EQ(read[i], samples[i] > 0 ? std::pow(samples[i], 0.5f) : samples[i]) << i;
      EXPECT_EQ(written[i], samples[i] > 0 ? std::pow(samples[i], 2.0f) : samples[i]) << i;
    }
  }
}

TEST(Gamma, TablesAreFollowedByChannel) {
  const Image image = open_written(picture_of(1.0f, 9));
  const auto raw = read_line<uint8_t>(image.get(), 1, 3, 13);
  Table wanted(3.0f, 3, 4096, 8);
  static_cast<uint8_t*>(wanted.tables[1])[4095] = 9;
  ORB__gamma(image.get(), &wanted);
  ASSERT_NE(image->layers, nullptr);
  const auto seen = read_line<uint8_t>(image.get(), 1, 3, 13);
  for (size_t c = 0; c < 3; ++c) {
    for (size_t i = 2; i < 11; ++i) {
      const double step = std::trunc(raw[c][i] * 4095.0 / 255 + 0.5);
      const auto entry = static_cast<size_t>(step);
      EXPECT_EQ(seen[c][i], static_cast<uint8_t*>(wanted.tables[c])[entry]);
    }
  }
}

TEST(Gamma, CurvesThatServeNoByteAreRefused) {
  const struct {
    int32_t channels, entries, bits, type;
    const char* text;
  } cases[] = {
      {3, 4096, 10, ORB_C_INTEGER, "gamma correction operator cannot handle the requested action"},
      {3, 4096, 8, ORB_C_FLOAT, "gamma correction operator cannot handle the requested action"},
      {1, 4096, 8, ORB_C_INTEGER,
       "Incompatible response curve channel counts (channel counts must be the same for composited response "
       "curves)"},
      {3, 256, 8, ORB_C_INTEGER, "Incompatible response curve channel element counts"},
  };
  for (const auto& c : cases) {
    const Image image = open_written(picture_of(1.0f, 5));
    Table wanted(2.0f, c.channels, c.entries, c.bits, c.type);
    const ReportRecorder recorder;
    EXPECT_EQ(ORB__gamma(image.get(), &wanted), image.get());
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(recorder.texts(), c.text);
    EXPECT_EQ(image->layers, nullptr);
  }
}

TEST(Gamma, EqualGammasInstallNothing) {
  const Image image = open_written(picture_of(2.2f, 5));
  ORB_RESPONSE_CURVE wanted = gamma_curve(2.2f);
  ORB__gamma(image.get(), &wanted);
  EXPECT_EQ(image->layers, nullptr);
  EXPECT_EQ(wanted.channel_count, 0);
  EXPECT_EQ(orb__err, ORB_OK);
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
