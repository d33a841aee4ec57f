// What stands beside the picture, both ways.
#include <gmock/gmock.h>

#include "oracle.h"

namespace orb::testing {
namespace {

using namespace std::string_literals;

void put_marker(jpeg_compress_struct& cinfo, int marker, const std::string& data) {
  jpeg_write_marker(&cinfo, marker, reinterpret_cast<const JOCTET*>(data.data()),
                    static_cast<unsigned int>(data.size()));
}

TEST_F(JpegTest, comments_are_the_description) {
  const struct {
    std::vector<std::string> comments;
    const char* text;
    size_t report_count;
  } rows[] = {{{}, nullptr, 0},         {{"one"}, "one", 0},  {{"one", "two\n"}, "one\ntwo\n", 0},
              {{"ends\0"s}, "ends", 0}, {{"a\0b"s}, "ab", 1}, {{""}, nullptr, 0}};
  for (const auto& row : rows) {
    Picture picture;
    picture.mark = [&row](jpeg_compress_struct& cinfo) {
      for (const std::string& comment : row.comments) put_marker(cinfo, JPEG_COM, comment);
    };
    save("in", encode(picture));
    reports.clear();
    EXPECT_STREQ(open_read("jpeg", "in")->info.text3, row.text);
    EXPECT_EQ(reports.reports.size(), row.report_count) << reports.texts();
  }
}

TEST_F(JpegTest, comments_beyond_a_mebibyte_and_behind_the_picture_are_left_with_a_warning) {
  Picture picture;
  picture.mark = [](jpeg_compress_struct& cinfo) {
    for (int i = 0; i < 20; ++i) put_marker(cinfo, JPEG_COM, std::string(65533, 'x'));
  };
  std::string bytes = encode(picture);
  bytes.insert(bytes.size() - 2, "\xFF\xFE\0\5abc"s);
  save("in", bytes);
  const Image image = open_read("jpeg", "in");
  ASSERT_TRUE(image);
  EXPECT_EQ(std::string(image->info.text3).size(), 16 * 65534U - 1);
  reports.clear();
  EXPECT_FALSE(read_all(*image).empty());
  EXPECT_EQ(reports.texts(), "in: a comment behind the picture's start is not kept");
}

TEST_F(JpegTest, what_is_not_kept_is_said) {
  const struct {
    int marker;
    std::string data;
    int category;
    const char* text;
  } rows[] = {
      {1, "Exif\0\0II"s, ERR_WARNING,
       "Exif: the camera's data are not kept, the picture's turning among them"},
      {1, "http://ns.adobe.com/xap", ERR_INFORMATION, "XMP: this packet is not kept"},
      {2, "ICC_PROFILE\0\1\1"s, ERR_WARNING, "ICC: the colour profile is not kept"},
      {2, "MPF\0"s, ERR_WARNING, "MPF: of several pictures only the first is read"},
      {5, "", ERR_INFORMATION, "APP5: this marker is not kept"},
  };
  for (const auto& row : rows) {
    Picture picture;
    picture.mark = [&row](jpeg_compress_struct& cinfo) {
      put_marker(cinfo, JPEG_APP0 + row.marker, row.data);
    };
    save("in", encode(picture));
    reports.clear();
    EXPECT_EQ(read_whole("jpeg", "in"), 0);
    ASSERT_EQ(reports.reports.size(), 1U) << reports.texts();
    EXPECT_EQ(reports.reports[0].text, "in: "s + row.text);
    EXPECT_EQ(reports.reports[0].category, row.category);
  }
}

TEST_F(JpegTest, densities_are_the_pixel_aspect) {
  const struct {
    int unit, across, down;
    bool is_declared;
    float aspect;
  } rows[] = {{0, 1, 1, false, 1},
              {0, 2, 2, true, 1},
              {0, 1, 2, true, 2},
              {1, 72, 72, true, 1},
              {2, 300, 150, true, 0.5F},
              {0, 0, 3, false, 1},
              {0, 65535, 1, true, 1 / 65535.0F}};
  for (const auto& row : rows) {
    Picture picture;
    picture.choose = [&row](jpeg_compress_struct* cinfo) {
      cinfo->density_unit = static_cast<UINT8>(row.unit);
      cinfo->X_density = static_cast<UINT16>(row.across);
      cinfo->Y_density = static_cast<UINT16>(row.down);
    };
    save("in", encode(picture));
    const Image image = open_read("jpeg", "in");
    EXPECT_EQ((image->info.word_e & ORB_ASSUMED_PIXEL_ASPECT) == 0, row.is_declared) << row.across;
    EXPECT_EQ(image->info.images[0].pixel_aspect, row.aspect);
  }
}

TEST_F(JpegTest, an_aspect_is_kept_as_two_densities_where_there_is_room_for_them) {
  const struct {
    int channels;
    float aspect;
    float kept;  // 0: it is not
  } rows[] = {{3, 1, 1},   {1, 16 / 15.0F, 16 / 15.0F}, {3, 3.14159265F, 3.14159265F}, {4, 2, 0}, {3, -1, 0},
              {3, 1e9F, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.aspect);
    Wanted wanted("jpeg", "out", 2, 2);
    wanted.color(row.channels, 8).info.word_e &= ~static_cast<uint64_t>(ORB_ASSUMED_PIXEL_ASPECT);
    wanted.ifd.pixel_aspect = row.aspect;
    ASSERT_EQ(write_all(wanted.open(), noise_for(wanted.ifd)), 0);
    const Image image = open_read("jpeg", "out");
    EXPECT_EQ((image->info.word_e & ORB_ASSUMED_PIXEL_ASPECT) == 0, row.kept != 0);
    EXPECT_NEAR(image->info.images[0].pixel_aspect, row.kept != 0 ? row.kept : 1, 1e-6);
  }
}

TEST_F(JpegTest, a_description_that_is_too_long_is_not_there) {
  for (const size_t length : {65533U, 65534U}) {
    Wanted wanted("jpeg", "out", 2, 2);
    std::string text(length, 'x');
    wanted.info.text3 = text.data();
    const Image image = wanted.color(1, 8).open();
    EXPECT_EQ(image->info.text3 != nullptr, length == 65533);
  }
}

}  // namespace
}  // namespace orb::testing
