// Samples, both ways, against the codec library.
#include <algorithm>
#include <cstdlib>

#include "oracle.h"

namespace orb::testing {
namespace {

using Choose = void (*)(jpeg_compress_struct*);
void be_rgb(jpeg_compress_struct* cinfo) { jpeg_set_colorspace(cinfo, JCS_RGB); }
void be_ycck(jpeg_compress_struct* cinfo) { jpeg_set_colorspace(cinfo, JCS_YCCK); }
void be_without_marker(jpeg_compress_struct* cinfo) { cinfo->write_Adobe_marker = FALSE; }
void be_as_it_is(jpeg_compress_struct*) {}

Planes inverted(Planes planes) {
  for (auto& plane : planes) {
    for (uint64_t& sample : plane) sample = 255 - sample;
  }
  return planes;
}

TEST_F(JpegTest, every_kind_is_read_as_the_codec_library_gives_it) {
  const struct {
    J_COLOR_SPACE given, read;
    Choose choose;
    bool is_inverted;
  } rows[] = {{JCS_GRAYSCALE, JCS_GRAYSCALE, be_as_it_is, false},
              {JCS_GRAYSCALE, JCS_GRAYSCALE, jpeg_simple_progression, false},
              {JCS_RGB, JCS_RGB, be_as_it_is, false},
              {JCS_RGB, JCS_RGB, be_rgb, false},
              {JCS_RGB, JCS_RGB, jpeg_simple_progression, false},
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

Written write(int channels, Settings settings) {
  Wanted wanted("jpeg", "out", 21, 13);
  wanted.color(channels, 8).settings = std::move(settings);
  Planes planes(static_cast<size_t>(channels));
  for (int y = 0; y < 13; ++y) {
    for (int x = 0; x < 21; ++x) {
      for (int c = 0; c < channels; ++c) planes[static_cast<size_t>(c)].push_back(smooth(x, y, c));
    }
  }
  EXPECT_EQ(write_all(wanted.open(), planes), 0);
  return {load("out"), planes};
}

uint64_t largest_difference(const Planes& a, const Planes& b) {
  uint64_t largest = 0;
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
    Settings settings;
    bool is_lossy;
  } rows[] = {{{}, true}, {{{kSubsampling, 1}}, true}, {{{kQuality, 100}}, false}};
  for (const auto& row : rows) {
    Wanted wanted("jpeg", "out", 2, 2);
    wanted.color(1, 8).settings = row.settings;
    const Image image = wanted.open();
    EXPECT_EQ((image->info.word_e & ORB_LOSSY_SAMPLES) != 0, row.is_lossy);
  }
}

}  // namespace
}  // namespace orb::testing
