// Files of the plug-in, looked at by the codec library.
#include <gmock/gmock.h>

#include <cstring>

#include "oracle.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

enum : uint16_t { kCompression = 2, kLevel = 3, kPredictor = 4, kAlpha = 5, kRows = 6, kContainer = 7 };

const Planes kNoise = noise(1, 8, size_t{37} * 21);

Wanted wanted() { return Wanted("tiff", "out.tif", 37, 21).color(1, 8); }

TEST_F(TiffTest, settings_show_in_the_file) {
  const struct {
    Settings settings;
    uint32_t tag;
    uint16_t expected;
  } rows[] = {{{}, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE},
              {{{kCompression, 4}, {kLevel, 19}}, TIFFTAG_COMPRESSION, COMPRESSION_ZSTD},
              {{}, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL},
              {{{kPredictor, 1}}, TIFFTAG_PREDICTOR, PREDICTOR_NONE},
              {{}, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT},
              {{{kRows, 1}}, TIFFTAG_ORIENTATION, ORIENTATION_BOTLEFT}};
  for (const auto& row : rows) {
    Wanted made = wanted();
    made.settings = row.settings;
    ASSERT_EQ(write_all(made.open(), kNoise), 0) << reports.texts();
    inspect("out.tif", [&row](TIFF* tiff) {
      uint16_t found = 0;
      EXPECT_EQ(TIFFGetFieldDefaulted(tiff, row.tag, &found), 1);
      EXPECT_EQ(found, row.expected) << row.tag;
    });
    EXPECT_EQ(read_all(*open_read("tiff", "out.tif")), kNoise);
  }
  for (const int32_t container : {1, 2}) {
    ASSERT_EQ(write_all(wanted().set(kContainer, container).open(), kNoise), 0);
    inspect("out.tif", [container](TIFF* tiff) { EXPECT_EQ(TIFFIsBigTIFF(tiff) != 0, container == 2); });
  }
}

TEST_F(TiffTest, the_kind_of_a_matte_is_chosen_by_setting_or_name_and_kept) {
  const struct {
    int32_t setting;
    const char* name;
    const char* kept;
    uint16_t expected;
  } rows[] = {{0, nullptr, "associated", EXTRASAMPLE_ASSOCALPHA},
              {0, "separate", "separate", EXTRASAMPLE_UNASSALPHA},
              {2, nullptr, "separate", EXTRASAMPLE_UNASSALPHA},
              {1, "separate", "associated", EXTRASAMPLE_ASSOCALPHA},
              {0, "hold-out", "hold-out", EXTRASAMPLE_ASSOCALPHA},
              {2, "hold-out", "separate", EXTRASAMPLE_UNASSALPHA}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    Wanted made = wanted().matte(1, 8).set(kAlpha, row.setting);
    made.ifd.matte.name = const_cast<char*>(row.name);
    Image image = made.open();
    EXPECT_STREQ(image->info.images[0].matte.name, row.kept);
    ASSERT_EQ(write_all(std::move(image), noise_for(made.ifd)), 0);
    inspect("out.tif", [&row](TIFF* tiff) {
      uint16_t count = 0;
      uint16_t* kinds = nullptr;
      ASSERT_EQ(TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds), 1);
      EXPECT_EQ(kinds[0], row.expected);
    });
    EXPECT_STREQ(open_read("tiff", "out.tif")->info.images[0].matte.name, row.kept);
  }
}

TEST_F(TiffTest, a_table_with_coverage_is_refused) {
  const Table table = make_table(256);
  table->entries[5].rgba[3] = 0;
  EXPECT_FALSE(wanted().index(8, table).open());
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
}

TEST_F(TiffTest, every_page_keeps_what_is_its_own) {
  Wanted made = wanted();
  made.info.word_e = 0;
  made.info.text10 = const_cast<char*>("strips");
  made.ifd.curve.gamma = 1.7F;
  made.ifd.pixel_aspect = 1;
  ORB_IFD second = Wanted("", "", 4, 3).color(1, 8).aux(1, 8).ifd;
  second.aux.name = const_cast<char*>("depth");
  second.pixel_aspect = 2;
  second.curve = {ORB_CURVE_TABLE, 1.5F, 0, 1, 256, ORB_C_INTEGER, 16, nullptr};
  ASSERT_EQ(ORB_response_curve_init(&second.curve), 0);
  made.more.push_back(second);
  const Planes planes = noise_for(second);
  ASSERT_EQ(write_images(made.open(), {kNoise, planes}), 0) << reports.texts();
  const Image image = open_read("tiff", "out.tif");
  ASSERT_TRUE(image);
  ASSERT_EQ(image->info.image_count, 2);
  EXPECT_STREQ(image->info.text10, "strips");
  const ORB_IFD& read = image->info.images[1];
  EXPECT_STREQ(read.aux.name, "depth");
  EXPECT_EQ(read.pixel_aspect, 2.0F);
  EXPECT_EQ(image->info.images[0].curve.gamma, 1.7F);
  ASSERT_EQ(read.curve.kind, ORB_CURVE_TABLE) << reports.texts();
  EXPECT_EQ(std::memcmp(read.curve.tables[0], second.curve.tables[0], 512), 0);
  EXPECT_EQ(read_all(*image, 1), planes);
  EXPECT_EQ(read_all(*image), kNoise);
  // Nothing of any page is declared.
  Wanted plain = wanted();
  plain.more.push_back(plain.ifd);
  ASSERT_EQ(write_images(plain.open(), {kNoise, kNoise}), 0);
  EXPECT_EQ(open_read("tiff", "out.tif")->info.word_e, 31U);
  // A file that lacks rows of any page has no page.
  reports.clear();
  EXPECT_EQ(write_images(made.open(), {kNoise}), ORB_E_WRITE);
  EXPECT_THAT(reports.texts(), HasSubstr("closed when 21 of 21 scanlines of page 1 of 2 were written"));
  EXPECT_NE(read_whole("tiff", "out.tif"), 0);
  ORB_response_curve_done(&second.curve);
}

}  // namespace
}  // namespace orb::testing
