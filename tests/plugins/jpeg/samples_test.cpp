// Samples, both ways, against the codec library.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>

#include "oracle.h"
#include "orbbase/driver.h"

namespace orb::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

void be_progressive(jpeg_compress_struct& cinfo) { jpeg_simple_progression(&cinfo); }
void be_rgb(jpeg_compress_struct& cinfo) { jpeg_set_colorspace(&cinfo, JCS_RGB); }
void be_ycck(jpeg_compress_struct& cinfo) { jpeg_set_colorspace(&cinfo, JCS_YCCK); }
void be_without_marker(jpeg_compress_struct& cinfo) { cinfo.write_Adobe_marker = FALSE; }
void be_as_it_is(jpeg_compress_struct&) {}

Planes inverted(Planes planes) {
  for (auto& plane : planes) {
    for (uint32_t& sample : plane) sample = 255 - sample;
  }
  return planes;
}

TEST_F(JpegTest, every_kind_is_read_as_the_codec_library_gives_it) {
  const struct {
    J_COLOR_SPACE given, read;
    void (*choose)(jpeg_compress_struct&);
    bool is_inverted;
  } rows[] = {{JCS_GRAYSCALE, JCS_GRAYSCALE, be_as_it_is, false},
              {JCS_GRAYSCALE, JCS_GRAYSCALE, be_progressive, false},
              {JCS_RGB, JCS_RGB, be_as_it_is, false},
              {JCS_RGB, JCS_RGB, be_rgb, false},
              {JCS_RGB, JCS_RGB, be_progressive, false},
              {JCS_CMYK, JCS_CMYK, be_as_it_is, true},
              {JCS_CMYK, JCS_CMYK, be_ycck, true},
              {JCS_CMYK, JCS_CMYK, be_without_marker, false}};
  for (const auto& row : rows) {
    Picture picture;
    picture.given = row.given;
    picture.choose = row.choose;
    const std::string bytes = encode(picture);
    save("in", bytes);
    const Image image = open_read("jpeg", "in");
    ASSERT_TRUE(image) << reports.texts();
    const Planes expected = decode(bytes, row.read);
    EXPECT_EQ(image->info.images[0].color.count, static_cast<int>(expected.size()));
    EXPECT_EQ(image->info.images[0].color.width, 8);
    EXPECT_EQ(read_all(*image), row.is_inverted ? inverted(expected) : expected);
    for (const auto& report : reports.reports) EXPECT_EQ(report.category, ERR_INFORMATION) << report.text;
  }
}

struct Written {
  std::string bytes;
  Planes given;
};

Written write(int channels, std::vector<Setting> settings) {
  Wanted wanted("jpeg", "out", 21, 13);
  wanted.group(&ORB_IFD::color, channels, 8).settings = std::move(settings);
  Planes planes(static_cast<size_t>(channels));
  for (int y = 0; y < 13; ++y) {
    for (int x = 0; x < 21; ++x) {
      for (int c = 0; c < channels; ++c) planes[static_cast<size_t>(c)].push_back(smooth(x, y, c));
    }
  }
  EXPECT_EQ(write_all(wanted.open(), planes), 0);
  return {load("out"), planes};
}

uint32_t largest_difference(const Planes& a, const Planes& b) {
  uint32_t largest = 0;
  for (size_t c = 0; c < a.size(); ++c) {
    for (size_t i = 0; i < a[c].size(); ++i) {
      largest = std::max(largest, a[c][i] > b[c][i] ? a[c][i] - b[c][i] : b[c][i] - a[c][i]);
    }
  }
  return largest;
}

TEST_F(JpegTest, what_is_written_is_near_the_picture_for_others_and_for_us) {
  const struct {
    int channels;
    J_COLOR_SPACE space;
  } rows[] = {{1, JCS_GRAYSCALE}, {3, JCS_RGB}, {4, JCS_CMYK}};
  for (const auto& row : rows) {
    const Written written = write(row.channels, {{kQuality, 100}});
    const Planes seen = decode(written.bytes, row.space);
    ASSERT_EQ(seen.size(), written.given.size());
    EXPECT_LE(largest_difference(row.channels == 4 ? inverted(seen) : seen, written.given), 4U);
    EXPECT_LE(largest_difference(read_all(*open_read("jpeg", "out")), written.given), 4U);
  }
}

TEST_F(JpegTest, settings_reach_the_file) {
  EXPECT_LT(write(3, {{kQuality, 5}}).bytes.size(), write(3, {{kQuality, 100}}).bytes.size());
  EXPECT_EQ(write(3, {}).bytes, write(3, {{kQuality, 90}, {kSubsampling, 0}}).bytes);
  for (const auto& [value, across, down] : {std::tuple{0, 1, 1}, {1, 2, 1}, {2, 2, 2}}) {
    decode(write(3, {{kSubsampling, value}}).bytes, JCS_RGB, [across, down](jpeg_decompress_struct& cinfo) {
      EXPECT_EQ(cinfo.comp_info[0].h_samp_factor, across);
      EXPECT_EQ(cinfo.comp_info[0].v_samp_factor, down);
      EXPECT_EQ(cinfo.comp_info[1].h_samp_factor, 1);
    });
  }
}

TEST_F(JpegTest, samples_count_as_changed_until_the_quality_is_chosen) {
  const struct {
    std::vector<Setting> settings;
    bool is_lossy;
  } rows[] = {{{}, true}, {{{kSubsampling, 1}}, true}, {{{kQuality, 100}}, false}};
  for (const auto& row : rows) {
    Wanted wanted("jpeg", "out", 2, 2);
    wanted.group(&ORB_IFD::color, 1, 8).settings = row.settings;
    const Image image = wanted.open();
    EXPECT_EQ((image->info.word_e & ORB_LOSSY_SAMPLES) != 0, row.is_lossy);
  }
}

TEST_F(JpegTest, what_a_jpeg_cannot_hold_is_refused_before_the_file_is_touched) {
  const struct {
    int colours, mattes, auxes, bits, width;
    uint32_t type;
    std::vector<Setting> settings;
    const char* report;
  } rows[] = {
      {2, 0, 0, 8, 2, ORB_C_INTEGER, {}, "jpeg cannot handle the requested action"},
      {3, 1, 0, 8, 2, ORB_C_INTEGER, {}, "jpeg cannot handle matte channel type"},
      {3, 0, 1, 8, 2, ORB_C_INTEGER, {}, "jpeg cannot handle auxiliary channel type"},
      {3, 0, 0, 7, 2, ORB_C_INTEGER, {}, "jpeg cannot handle image channel width"},
      {3, 0, 0, 16, 2, ORB_C_INTEGER, {}, "jpeg cannot handle image channel width"},
      {3, 0, 0, 32, 2, ORB_C_FLOAT, {}, "jpeg cannot handle image channel type"},
      {1, 0, 0, 8, 65501, ORB_C_INTEGER, {}, "Cannot write to out; a JPEG's sides are at most 65500 pixels"},
      {1, 0, 0, 8, 2, ORB_C_INTEGER, {{kQuality, 0}}, "jpeg cannot handle the requested action"},
      {1, 0, 0, 8, 2, ORB_C_INTEGER, {{kQuality, 101}}, "jpeg cannot handle the requested action"},
      {1, 0, 0, 8, 2, ORB_C_INTEGER, {{kSubsampling, 3}}, "jpeg cannot handle the requested action"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.report);
    save("out", "before");
    reports.clear();
    Wanted wanted("jpeg", "out", row.width, 2);
    wanted.group(&ORB_IFD::color, row.colours, row.bits, row.type)
        .group(&ORB_IFD::matte, row.mattes, 8)
        .group(&ORB_IFD::aux, row.auxes, 8);
    wanted.settings = row.settings;
    EXPECT_FALSE(wanted.open());
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(reports.texts(), row.report);
    EXPECT_EQ(load("out"), "before");
  }
}

TEST_F(JpegTest, a_writer_takes_each_row_once_and_leaves_an_unfinished_file_unreadable) {
  Wanted wanted("jpeg", "out", 16, 9);
  Image image = wanted.group(&ORB_IFD::color, 1, 8).open();
  ASSERT_TRUE(image);
  uint8_t samples[16] = {};
  void* rows[] = {samples};
  EXPECT_EQ(ORB_scan_write(image.get(), 7, rows), ORB_E_SCANLINE);
  EXPECT_EQ(ORB_scan_write(image.get(), 8, rows), 0);
  EXPECT_EQ(ORB_close(image.release()), ORB_E_WRITE);
  EXPECT_THAT(reports.texts(), EndsWith("Cannot write to out; closed when 1 of 9 scanlines were written"));
  EXPECT_NE(read_whole("jpeg", "out"), 0);
}

TEST_F(JpegTest, a_full_disk_is_reported_wherever_it_shows) {
  for (const int32_t width : {8, 4000}) {
    reports.clear();
    Wanted wanted("jpeg", "/dev/full", width, 40);
    wanted.group(&ORB_IFD::color, 1, 8).settings = {{kQuality, 100}};
    EXPECT_EQ(write_all(wanted.open(), noise(1, 8, static_cast<size_t>(width) * 40)), ORB_E_WRITE);
    EXPECT_THAT(reports.texts(), HasSubstr("No space left on device"));
  }
}

}  // namespace
}  // namespace orb::testing
