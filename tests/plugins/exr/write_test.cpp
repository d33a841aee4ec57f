// Files of the plug-in, read by the format's own library and by the plug-in itself.
#include <ImfChannelList.h>
#include <ImfStandardAttributes.h>
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>

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

std::vector<uint32_t> as_halves(const std::vector<uint32_t>& floats) {
  std::vector<uint32_t> rounded;
  for (const uint32_t bits : floats) rounded.push_back(widened(half(std::bit_cast<float>(bits)).bits()));
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
      wanted.group(&ORB_IFD::color, 3, 32, ORB_C_FLOAT).group(&ORB_IFD::matte, 1, 32, ORB_C_FLOAT);
      wanted.group(&ORB_IFD::aux, 1, 32, ORB_C_FLOAT);
      wanted.settings = {{kCompression, compression}, {kSamples, samples}};
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

TEST_F(ExrTest, integers_keep_32_bits_and_mixed_channels_come_back_from_doubles) {
  Wanted wanted("exr", "ids.exr", 9, 5);
  wanted.group(&ORB_IFD::color, 3, 32, ORB_C_FLOAT).group(&ORB_IFD::aux, 2, 32, ORB_C_INTEGER);
  const Planes planes = noise(5, 32, 45);
  ASSERT_EQ(write_all(wanted.open(), planes), 0) << reports.texts();
  EXPECT_EQ(read_all(*open_read("exr", "ids.exr")), planes);

  save_exr("mixed.exr", {{.channels = {{"R"}, {"G"}, {"B"}, {"Z", Imf::FLOAT}, {"id", Imf::UINT}}}});
  const Image source = open_read("exr", "mixed.exr");
  Wanted copy("exr", "copy.exr", 37, 41);
  copy.ifd = source->info.images[0];
  ASSERT_EQ(copy.ifd.aux.type, ORB_C_DOUBLE);
  Image writer = copy.open();
  ASSERT_TRUE(writer) << reports.texts();
  for (int32_t line = 40; line >= 0; --line) {
    ASSERT_EQ(ORB_scan_write(writer.get(), line, read_line(*source, 0, line)), 0);
  }
  ASSERT_EQ(ORB_close(writer.release()), 0);
  EXPECT_EQ(load_exr("copy.exr").samples, load_exr("mixed.exr").samples);
  EXPECT_EQ(load_exr("copy.exr").header.channels()["id"].type, Imf::UINT);
  // A double that is neither is refused, and the row may be given again.
  writer = copy.open();
  void** rows = read_line(*source, 0, 40);
  for (const double value : {0.5, -1.0, 4294967296.0, std::nan("")}) {
    std::memcpy(static_cast<char*>(rows[4]) + 24, &value, 8);
    EXPECT_EQ(ORB_scan_write(writer.get(), 40, rows), ORB_E_HANDLE) << value;
  }
  const double largest = 4294967295.0;
  std::memcpy(static_cast<char*>(rows[4]) + 24, &largest, 8);
  EXPECT_EQ(ORB_scan_write(writer.get(), 40, rows), 0);
}

TEST_F(ExrTest, everything_beside_the_picture_comes_back) {
  std::string texts[] = {"doc",  "two\nlines", "program", "host", "user",     "last Tuesday",
                         "1:23", "box",        "page",    "tint", "fog, haze"};
  Wanted wanted("exr", "out.exr", 4, 3);
  wanted.group(&ORB_IFD::color, 3, 32, ORB_C_FLOAT).group(&ORB_IFD::aux, 1, 32, ORB_C_FLOAT);
  ORB_INFO& info = wanted.info;
  info.word_e = 0;
  char* ORB_INFO::*const fields[] = {&ORB_INFO::text1, &ORB_INFO::text3, &ORB_INFO::text4, &ORB_INFO::text5,
                                     &ORB_INFO::text6, &ORB_INFO::text7, &ORB_INFO::text8, &ORB_INFO::text9};
  for (size_t i = 0; i < std::size(fields); ++i) info.*fields[i] = texts[i].data();
  wanted.ifd.name = texts[8].data();
  wanted.ifd.color.name = texts[9].data();
  wanted.ifd.aux.name = texts[10].data();
  wanted.ifd.curve.gamma = 1.0F;
  wanted.ifd.pixel_aspect = 1.0667F;
  info.frame_number = -12;
  info.job_number = 7;
  info.field_value = 2;
  const float primaries[12] = {0.7347F, 0.2653F, 0,       0,        1,        0,
                               0.0001F, -0.077F, 1.0769F, 0.32168F, 0.33767F, 0.34065F};
  std::copy_n(primaries, 12, info.chromaticity);
  for (const float rate : {24.0F, 23.976F, 24000.0F / 1001, 29.97F, 12.3456789F}) {
    info.frame_rate = rate;
    ASSERT_EQ(write_all(wanted.open(), noise(4, 32, 12)), 0) << reports.texts();
    const Image image = open_read("exr", "out.exr");
    ASSERT_TRUE(image) << reports.texts();
    EXPECT_EQ(image->info.frame_rate, rate);
    for (size_t i = 0; i < std::size(fields); ++i) EXPECT_STREQ(image->info.*fields[i], texts[i].c_str());
    EXPECT_STREQ(image->info.images[0].name, "page");
    EXPECT_STREQ(image->info.images[0].color.name, "tint");
    EXPECT_STREQ(image->info.images[0].aux.name, "fog, haze");
    EXPECT_EQ(image->info.images[0].pixel_aspect, 1.0667F);
    EXPECT_EQ(image->info.frame_number, -12);
    EXPECT_EQ(image->info.job_number, 7);
    EXPECT_EQ(image->info.field_value, 2);
    for (int i = 0; i < 12; ++i) EXPECT_NEAR(image->info.chromaticity[i], primaries[i], 1e-6);
    EXPECT_EQ(image->info.word_e, 0U);
  }
  EXPECT_EQ(reports.texts(), "");
  EXPECT_EQ(Imf::comments(load_exr("out.exr").header), "two\nlines");
  EXPECT_TRUE(load_exr("out.exr").header.channels().findChannel("Z"));
}

TEST_F(ExrTest, after_the_open_the_handle_says_what_is_stored) {
  Wanted wanted("exr", "out.exr", 4, 3);
  wanted.group(&ORB_IFD::color, 1, 32, ORB_C_FLOAT);
  std::string stamp = "{86400}";
  wanted.info.text7 = stamp.data();
  wanted.info.word_e = 0;
  wanted.ifd.curve.gamma = 2.2F;
  wanted.ifd.pixel_aspect = -1;
  wanted.info.chromaticity[0] = NAN;
  wanted.info.frame_rate = 0;
  const Image image = wanted.open();
  ASSERT_TRUE(image);
  EXPECT_THAT(image->info.text7, HasSubstr("1970:01:0"));
  EXPECT_EQ(image->info.word_e, ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_FRAME_RATE);
  EXPECT_EQ(image->info.images[0].curve.gamma, 1.0F);
  EXPECT_EQ(image->info.images[0].pixel_aspect, 1.0F);
  EXPECT_EQ(image->info.images[0].orientation, 0U);
  EXPECT_EQ(image->info.images[0].name, nullptr);
  EXPECT_STREQ(image->info.text10, "zip");
  EXPECT_EQ(reports.reports.size(), 4U) << reports.texts();
}

// Several images of one channel, with windows of their own.
Image open_images(std::vector<ORB_IFD>& ifds, ORB_INFO& info) {
  std::string key = "exr";
  std::string path = "out.exr";
  info.key = key.data();
  info.handle = path.data();
  info.images = ifds.data();
  info.image_count = static_cast<int32_t>(ifds.size());
  return Image(ORB_open(&info, "w"));
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
    for (const Windows& image : row.images) {
      Wanted wanted("exr", "", 1, 1);
      wanted.group(&ORB_IFD::color, 1, 32, ORB_C_INTEGER);
      ORB_IFD ifd = wanted.ifd;
      ifd.window = image.window;
      ifd.active_window = image.active;
      std::copy_n(image.picture, 2, ifd.pair_a);
      ifds.push_back(ifd);
    }
    ORB_INFO info;
    ORB_info_init(&info);
    std::copy_n(row.words, 2, info.words);
    Image writer = open_images(ifds, info);
    ASSERT_TRUE(writer) << reports.texts();
    std::vector<uint32_t> samples(64);
    for (size_t i = 0; i < ifds.size(); ++i) {
      for (int32_t line = ifds[i].window.top; line >= ifds[i].window.bottom; --line) {
        for (int32_t x = 0; x < 64; ++x)
          samples[static_cast<size_t>(x)] = static_cast<uint32_t>(line * 1000 + ifds[i].window.left + x);
        void* given[] = {samples.data()};
        ASSERT_EQ(writer->scan(writer->driver[i].data, line, given), 0) << line << reports.texts();
      }
    }
    ASSERT_EQ(ORB_close(writer.release()), 0) << reports.texts();
    const Image image = open_read("exr", "out.exr");
    ASSERT_TRUE(image) << reports.texts();
    EXPECT_EQ(std::memcmp(image->info.words, row.words, sizeof row.words), 0);
    for (size_t i = 0; i < ifds.size(); ++i) {
      const ORB_IFD& got = image->info.images[i];
      EXPECT_EQ(std::memcmp(&got.window, &ifds[i].window, sizeof got.window), 0) << i;
      EXPECT_EQ(std::memcmp(&got.active_window, &ifds[i].active_window, sizeof got.window), 0) << i;
      EXPECT_EQ(std::memcmp(got.pair_a, ifds[i].pair_a, sizeof got.pair_a), 0) << i;
      for (int32_t line = got.window.bottom; line <= got.window.top; ++line) {
        const auto* given = static_cast<const uint32_t*>(read_line(*image, static_cast<int32_t>(i), line)[0]);
        for (int32_t x = got.window.left; x <= got.window.right; ++x) {
          const ORB_WINDOW& a = got.active_window;
          const bool is_active = x >= a.left && x <= a.right && line >= a.bottom && line <= a.top;
          ASSERT_EQ(given[x - got.window.left], is_active ? static_cast<uint32_t>(line * 1000 + x) : 0);
        }
      }
    }
    // The format's own library agrees that it is one file with one display window.
    for (size_t i = 0; i < ifds.size(); ++i) {
      EXPECT_EQ(load_exr("out.exr", static_cast<int>(i)).header.displayWindow(),
                load_exr("out.exr").header.displayWindow());
    }
  }
}

TEST_F(ExrTest, what_the_format_cannot_hold_is_refused_before_the_file_is_touched) {
  const struct {
    void (*change)(Wanted&);
    const char* report;
  } rows[] = {
      {[](Wanted& w) { w.group(&ORB_IFD::color, 2, 32, ORB_C_FLOAT); }, "cannot handle the requested action"},
      {[](Wanted& w) { w.group(&ORB_IFD::color, 0, 32); }, "cannot handle the requested action"},
      {[](Wanted& w) { w.group(&ORB_IFD::color, 3, 8); }, "cannot handle image channel width"},
      {[](Wanted& w) { w.group(&ORB_IFD::color, 3, 64, ORB_C_DOUBLE); }, "cannot handle image channel type"},
      {[](Wanted& w) { w.group(&ORB_IFD::matte, 1, 16); }, "cannot handle matte channel width"},
      {[](Wanted& w) { w.group(&ORB_IFD::matte, 2, 32, ORB_C_FLOAT); }, "cannot handle the requested action"},
      {[](Wanted& w) { w.group(&ORB_IFD::aux, 1, 64, ORB_C_DOUBLE); },
       "cannot handle auxiliary channel type"},
      {[](Wanted& w) { w.group(&ORB_IFD::aux, 40000, 32, ORB_C_FLOAT); },
       "cannot handle the requested action"},
      {[](Wanted& w) { w.ifd.active_window.right = 99; }, "cannot handle the requested action"},
      {[](Wanted& w) { w.ifd.window.right = -1; }, "cannot handle the requested action"},
      {[](Wanted& w) {
         w.settings = {{kCompression, 10}};
       },
       "cannot handle the requested action"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    reports.clear();
    Wanted wanted("exr", "out.exr", 4, 3);
    wanted.group(&ORB_IFD::color, 3, 32, ORB_C_FLOAT);
    row.change(wanted);
    EXPECT_FALSE(wanted.open());
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(reports.reports.size(), 1U);
    EXPECT_THAT(reports.texts(), HasSubstr(row.report));
    EXPECT_FALSE(std::filesystem::exists("out.exr"));
  }
  if (core_has_dwa()) return;
  Wanted late("exr", "out.exr", 4, 3);
  late.group(&ORB_IFD::color, 1, 32, ORB_C_FLOAT);
  late.settings = {{kCompression, 9}};
  EXPECT_FALSE(late.open());
  EXPECT_THAT(reports.texts(), HasSubstr("has no C coder for the compression dwab"));
}

TEST_F(ExrTest, a_file_that_is_not_whole_fails_to_close_and_to_read) {
  const Planes planes = noise(1, 32, 4 * 40);
  for (const int32_t lines : {0, 1, 16, 39}) {
    SCOPED_TRACE(lines);
    reports.clear();
    Wanted wanted("exr", "out.exr", 4, 40);
    wanted.group(&ORB_IFD::color, 1, 32, ORB_C_FLOAT);
    Image image = wanted.open();
    std::vector<float> row(4);
    void* rows[] = {row.data()};
    EXPECT_EQ(ORB_scan_write(image.get(), 38, rows), ORB_E_SCANLINE) << "out of sequence";
    reports.clear();
    for (int32_t i = 0; i < lines; ++i) ASSERT_EQ(ORB_scan_write(image.get(), 39 - i, rows), 0);
    EXPECT_EQ(ORB_close(image.release()), ORB_E_WRITE);
    ASSERT_EQ(reports.reports.size(), 1U);
    EXPECT_THAT(reports.texts(), HasSubstr("closed when " + std::to_string(lines) + " of 40 scanlines"));
    EXPECT_NE(read_whole("exr", "out.exr"), 0);
  }
  reports.clear();
  Wanted full("exr", "/dev/full", 4, 40);
  full.group(&ORB_IFD::color, 1, 32, ORB_C_FLOAT);
  EXPECT_EQ(write_all(full.open(), planes), ORB_E_WRITE);
  EXPECT_EQ(reports.texts(), "Cannot write to /dev/full; No space left on device");
  EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

}  // namespace
}  // namespace orb::testing
