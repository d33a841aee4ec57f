// Samples that the plug-in writes, read by the format's own library and by the plug-in itself.
#include <ImfChannelList.h>
#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <random>

#include "oracle.h"
#include "plugins/common/half.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

// Floats of all kinds: numbers, both zeros, infinities, a NaN with a payload, values beyond a half and below it.
Planes kinds_of_floats(int channels, size_t pixels) {
  const uint32_t special[] = {0,          0x80000000, 0x7F800000, 0xFF800000, 0x7FC12000,
                              0x3F800000, 0x47C80000, 0xC77FF000, 0x33000001, 0x387FE000};
  Planes planes = noise(channels, 32, pixels);
  for (auto& plane : planes) {
    for (size_t i = 0; i < pixels; ++i) {
      plane[i] = i < std::size(special) ? special[i] : 0x3D000000 + (plane[i] >> 8);
    }
  }
  return planes;
}

std::vector<uint64_t> as_halves(const std::vector<uint64_t>& floats) {
  std::vector<uint64_t> rounded;
  for (const uint64_t bits : floats)
    rounded.push_back(widened(half(std::bit_cast<float>(static_cast<uint32_t>(bits))).bits()));
  return rounded;
}

TEST_F(ExrTest, what_is_written_is_what_both_libraries_read) {
  constexpr int32_t kWidth = 37;
  constexpr int32_t kHeight = 41;
  const Planes planes = kinds_of_floats(5, size_t{kWidth} * kHeight);
  const char* names[] = {"R", "G", "B", "A", "Z"};
  const struct {
    int32_t samples;
    size_t halves;              // channels
    int32_t first_lossy, last;  // compressions
    const char* beyond;
  } rows[] = {{0, 0, 5, 5, ""},
              {1, 5, 6, 7, "out.exr: 10 samples are beyond what a half holds"},
              {2, 4, 5, 7, "out.exr: 8 samples are beyond what a half holds"}};
  for (int32_t compression = 0; compression < 8; ++compression) {
    for (const auto& row : rows) {
      SCOPED_TRACE(kCompressions[compression]);
      SCOPED_TRACE(row.samples);
      reports.clear();
      Wanted wanted("exr", "out.exr", kWidth, kHeight);
      wanted.color(3, 32, ORB_C_FLOAT).matte(1, 32, ORB_C_FLOAT).aux(1, 32, ORB_C_FLOAT);
      wanted.set(kCompression, compression).set(kSamples, row.samples);
      Image writer = wanted.open();
      ASSERT_TRUE(writer) << reports.texts();
      const bool is_lossy = (writer->info.word_e & ORB_LOSSY_SAMPLES) != 0;
      EXPECT_EQ(is_lossy, compression >= row.first_lossy && compression <= row.last);
      ASSERT_EQ(write_all(std::move(writer), planes), 0) << reports.texts();
      const Loaded loaded = load_exr("out.exr");
      EXPECT_EQ(static_cast<int32_t>(loaded.header.compression()), compression);
      const Planes got = read_all(*open_read("exr", "out.exr"));
      ASSERT_EQ(got.size(), 5U);
      for (size_t c = 0; c < 5; ++c) {
        EXPECT_TRUE(is_lossy || got[c] == (c < row.halves ? as_halves(planes[c]) : planes[c]));
        EXPECT_EQ(got[c], loaded.samples.at(names[c])) << "the two libraries differ";
      }
      EXPECT_THAT(reports.texts(), HasSubstr(row.beyond));
      // With what the reader says of halves.
      EXPECT_EQ(reports.reports.size(), row.halves > 0 ? 2U : 0U) << reports.texts();
    }
  }
}

TEST_F(ExrTest, mixed_channels_come_back_from_doubles) {
  save_exr("mixed.exr", {{.channels = {{"R"}, {"G"}, {"B"}, {"Z", Imf::FLOAT}, {"id", Imf::UINT}}}});
  const Image source = open_read("exr", "mixed.exr");
  Wanted copy("exr", "copy.exr", 37, 41);
  copy.ifd = source->info.images[0];
  ASSERT_EQ(copy.ifd.aux.type, ORB_C_DOUBLE);
  Image writer = copy.open();
  ASSERT_TRUE(writer) << reports.texts();
  ASSERT_EQ(write_all(std::move(writer), read_all(*source)), 0);
  EXPECT_EQ(load_exr("copy.exr").samples, load_exr("mixed.exr").samples);
  EXPECT_EQ(load_exr("copy.exr").header.channels()["id"].type, Imf::UINT);
  // A double that is neither is refused, and the row may be given again.
  writer = copy.open();
  void** rows = read_row(*source, 40);
  for (const double value : {0.5, -1.0, 4294967296.0, std::nan("")}) {
    std::memcpy(static_cast<char*>(rows[4]) + 24, &value, 8);
    EXPECT_EQ(ORB_scan_write(writer.get(), 40, rows), ORB_E_HANDLE) << value;
  }
  const double largest = 4294967295.0;
  std::memcpy(static_cast<char*>(rows[4]) + 24, &largest, 8);
  EXPECT_EQ(ORB_scan_write(writer.get(), 40, rows), 0);
}

TEST_F(ExrTest, compressions_that_the_codec_library_lacks_are_refused_by_name) {
  if (core_has_dwa()) return;
  EXPECT_FALSE(Wanted("exr", "out.exr", 4, 3).color(1, 32, ORB_C_FLOAT).set(kCompression, 9).open());
  EXPECT_THAT(reports.texts(), HasSubstr("has no C coder for the compression dwab"));
}

TEST(Half, every_half_and_the_floats_around_it_convert_as_the_formats_own_library_does) {
  for (uint32_t bits = 0; bits <= 0xFFFF; ++bits) {
    const auto half_bits = static_cast<uint16_t>(bits);
    const uint32_t exact = plugin::float_from_half(half_bits);
    ASSERT_EQ(exact, widened(half_bits)) << bits;
    ASSERT_EQ(plugin::half_from_float(exact), half_bits) << bits;
    // Up to the next half, its middle and both sides of that.
    for (const uint32_t more : {1U, 0xFFFU, 0x1000U, 0x1001U, 0x1FFFU}) {
      const uint32_t above = exact + more;
      if ((exact & 0x7FFFFFFF) >= 0x7F800000) break;
      ASSERT_EQ(plugin::half_from_float(above), half(std::bit_cast<float>(above)).bits()) << above;
    }
  }
  std::mt19937 random(11);
  for (int i = 0; i < 1 << 20; ++i) {
    const auto bits = static_cast<uint32_t>(random());
    if ((bits & 0x7FFFFFFF) > 0x7F800000) continue;
    ASSERT_EQ(plugin::half_from_float(bits), half(std::bit_cast<float>(bits)).bits()) << bits;
  }
}

}  // namespace
}  // namespace orb::testing
