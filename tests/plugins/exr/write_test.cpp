// Files of the plug-in, read by the format's own library and by the plug-in itself.
#include <ImfChannelList.h>
#include <ImfStandardAttributes.h>
#include <gmock/gmock.h>

#include <cmath>

#include "exr_test.h"

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
  for (int32_t compression = 0; compression < 8; ++compression) {
    for (const int32_t samples : {0, 1}) {
      SCOPED_TRACE(kCompressions[compression]);
      SCOPED_TRACE(samples);
      reports.clear();
      Wanted wanted("exr", "out.exr", kWidth, kHeight);
      wanted.color(3, 32, ORB_C_FLOAT).matte(1, 32, ORB_C_FLOAT).aux(1, 32, ORB_C_FLOAT);
      wanted.set(kCompression, compression).set(kSamples, samples);
      Image writer = wanted.open();
      ASSERT_TRUE(writer) << reports.texts();
      const bool is_lossy = (writer->info.word_e & ORB_LOSSY_SAMPLES) != 0;
      EXPECT_EQ(is_lossy, samples == kHalf ? compression > 5 : compression == 5);
      ASSERT_EQ(write_all(std::move(writer), planes), 0) << reports.texts();
      const Loaded loaded = load_exr("out.exr");
      EXPECT_EQ(static_cast<int32_t>(loaded.header.compression()), compression);
      const Planes got = read_all(*open_read("exr", "out.exr"));
      ASSERT_EQ(got.size(), 5U);
      for (size_t c = 0; c < 5; ++c) {
        EXPECT_TRUE(is_lossy || got[c] == (samples == kHalf ? as_halves(planes[c]) : planes[c]));
        EXPECT_EQ(got[c], loaded.samples.at(names[c])) << "the two libraries differ";
      }
      const std::string beyond = samples == kHalf ? "out.exr: 10 samples are beyond what a half holds" : "";
      EXPECT_THAT(reports.texts(), HasSubstr(beyond));
      EXPECT_EQ(reports.reports.size(), samples == kHalf ? 1U : 0U) << reports.texts();
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

TEST_F(ExrTest, what_is_linear_and_what_other_programs_know_is_said_and_found) {
  Wanted wanted("exr", "out.exr", 4, 3);
  wanted.color(1, 32, ORB_C_FLOAT).aux(1, 32, ORB_C_FLOAT);
  wanted.info.text3 = const_cast<char*>("two\nlines");
  wanted.ifd.aux.name = const_cast<char*>("fog, haze");
  wanted.info.word_e = 0;
  wanted.ifd.pixel_aspect = -1;
  wanted.info.frame_rate = 0;
  Image image = wanted.open();
  ASSERT_TRUE(image);
  EXPECT_EQ(image->info.word_e, ORB_ASSUMED_FRAME_RATE);
  EXPECT_EQ(image->info.images[0].curve.gamma, 1.0F);
  EXPECT_EQ(image->info.images[0].pixel_aspect, 1.0F);
  EXPECT_STREQ(image->info.text10, "zip");
  EXPECT_EQ(reports.reports.size(), 3U) << reports.texts();
  ASSERT_EQ(write_all(std::move(image), noise_for(wanted.ifd)), 0);
  EXPECT_STREQ(open_read("exr", "out.exr")->info.images[0].aux.name, "fog, haze");
  EXPECT_EQ(Imf::comments(load_exr("out.exr").header), "two\nlines");
  EXPECT_TRUE(load_exr("out.exr").header.channels().findChannel("Z"));
}

TEST_F(ExrTest, windows_of_every_image_come_back_and_samples_stay_in_their_place) {
  struct Windows {
    ORB_WINDOW window, active;
    int32_t picture[2];
  };
  const struct {
    std::vector<Windows> images;
    int32_t words[2];
  } rows[] = {{{{{0, 9, 0, 19}, {0, 9, 0, 19}, {10, 20}}}, {0, 0}},
              {{{{-5, 4, -7, 12}, {-1, 2, -7, 3}, {10, 20}}}, {0, 0}},
              {{{{-3, 11, -1, 21}, {-3, 11, -1, 21}, {8, 10}}}, {1, 2}},
              {{{{-12, 9, -12, 19}, {-12, 5, -12, -9}, {9, 18}}}, {1, 2}},
              // A pyramid, and an image elsewhere.
              {{{{0, 9, 0, 19}, {0, 9, 0, 19}, {10, 20}},
                {{0, 4, 0, 9}, {0, 4, 0, 9}, {5, 10}},
                {{-40, -20, 50, 60}, {-30, -29, 51, 52}, {21, 11}}},
               {0, 0}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    std::vector<ORB_IFD> ifds;
    std::vector<Planes> planes;
    for (const Windows& image : row.images) {
      Wanted one("exr", "", 1, 1);
      ORB_IFD ifd = one.color(1, 32).window(image.window).ifd;
      ifd.active_window = image.active;
      std::copy_n(image.picture, 2, ifd.pair_a);
      ifds.push_back(ifd);
      planes.push_back(noise_for(ifd));
    }
    Wanted wanted("exr", "out.exr", 1, 1);
    wanted.ifd = ifds[0];
    wanted.more.assign(ifds.begin() + 1, ifds.end());
    std::copy_n(row.words, 2, wanted.info.words);
    ASSERT_EQ(write_images(wanted.open(), planes), 0) << reports.texts();
    const Image image = open_read("exr", "out.exr");
    ASSERT_TRUE(image) << reports.texts();
    EXPECT_EQ(std::memcmp(image->info.words, row.words, sizeof row.words), 0);
    for (size_t i = 0; i < ifds.size(); ++i) {
      const ORB_IFD& got = image->info.images[i];
      EXPECT_EQ(std::memcmp(&got.window, &ifds[i].window, sizeof got.window), 0) << i;
      EXPECT_EQ(std::memcmp(&got.active_window, &ifds[i].active_window, sizeof got.window), 0) << i;
      EXPECT_EQ(std::memcmp(got.pair_a, ifds[i].pair_a, sizeof got.pair_a), 0) << i;
      // What is outside of the active window is 0.
      const auto width = static_cast<size_t>(got.window.right - got.window.left + 1);
      const ORB_WINDOW& a = got.active_window;
      for (size_t at = 0; at < planes[i][0].size(); ++at) {
        const int32_t x = got.window.left + static_cast<int32_t>(at % width);
        const int32_t line = got.window.top - static_cast<int32_t>(at / width);
        if (x < a.left || x > a.right || line < a.bottom || line > a.top) planes[i][0][at] = 0;
      }
      EXPECT_EQ(read_all(*image, static_cast<int32_t>(i)), planes[i]);
    }
    // The format's own library agrees that it is one file with one display window.
    for (size_t i = 0; i < ifds.size(); ++i) {
      EXPECT_EQ(load_exr("out.exr", static_cast<int>(i)).header.displayWindow(),
                load_exr("out.exr").header.displayWindow());
    }
  }
}

TEST_F(ExrTest, compressions_that_the_codec_library_lacks_are_refused_by_name) {
  if (core_has_dwa()) return;
  EXPECT_FALSE(Wanted("exr", "out.exr", 4, 3).color(1, 32, ORB_C_FLOAT).set(kCompression, 9).open());
  EXPECT_THAT(reports.texts(), HasSubstr("has no C coder for the compression dwab"));
}

}  // namespace
}  // namespace orb::testing
