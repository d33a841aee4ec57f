// Files of the plug-in, read by itself and looked at by the codec library.
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <filesystem>

#include "library.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

enum : uint16_t { kCompression = 2, kLevel = 3, kPredictor = 4, kAlpha = 5, kRows = 6, kContainer = 7 };

TEST_F(TiffTest, every_type_width_group_and_compression_survives_a_round_trip) {
  const int groups[][3] = {{1, 0, 0}, {3, 0, 0}, {3, 1, 0}, {4, 1, 2}, {1, 1, 5}};
  for (int32_t compression = 0; compression <= 4; ++compression) {
    for (const auto& group : groups) {
      Wanted wanted("out.tif", 34);
      wanted.settings = {{kCompression, compression}};
      for (int bits = 1; bits <= 34; ++bits) {
        const uint32_t type = bits <= 32 ? ORB_C_INTEGER : bits == 33 ? ORB_C_FLOAT : ORB_C_DOUBLE;
        ORB_IFD& ifd = wanted.ifds[static_cast<size_t>(bits) - 1];
        const int32_t width = bits <= 32 ? bits : bits == 33 ? 32 : 64;
        ifd.color = {nullptr, group[0], type, width};
        ifd.matte = {nullptr, group[1], type, width};
        ifd.aux = {nullptr, group[2], type, width};
      }
      ASSERT_EQ(wanted.write(), 0) << reports.texts();
      const Image image = open_read("out.tif");
      ASSERT_TRUE(image) << reports.texts();
      ASSERT_EQ(image->info.image_count, 34);
      for (size_t i = 0; i < wanted.ifds.size(); ++i) {
        ASSERT_EQ(read_all(*image, static_cast<int32_t>(i)), noise_of(wanted.ifds[i]))
            << "compression " << compression << ", " << i + 1 << " bits";
      }
    }
  }
  EXPECT_EQ(reports.texts(), "");
}

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
    Wanted wanted("out.tif");
    wanted.settings = row.settings;
    ASSERT_EQ(wanted.write(), 0) << reports.texts();
    inspect("out.tif", [&row](TIFF* tiff) {
      uint16_t found = 0;
      EXPECT_EQ(TIFFGetFieldDefaulted(tiff, row.tag, &found), 1);
      EXPECT_EQ(found, row.expected) << row.tag;
    });
    EXPECT_EQ(read_all(*open_read("out.tif")), noise_of(wanted.ifds[0]));
  }
  for (const int32_t container : {1, 2}) {
    Wanted wanted("out.tif");
    wanted.settings = {{kContainer, container}};
    ASSERT_EQ(wanted.write(), 0);
    inspect("out.tif", [container](TIFF* tiff) { EXPECT_EQ(TIFFIsBigTIFF(tiff) != 0, container == 2); });
  }
  for (const Settings& refused :
       {Settings{{kCompression, 5}}, {{kLevel, 3}, {kCompression, 2}}, {{kLevel, 10}}}) {
    Wanted wanted("refused.tif");
    wanted.settings = refused;
    EXPECT_EQ(wanted.write(), ORB_E_HANDLE);
  }
  EXPECT_FALSE(std::filesystem::exists("refused.tif"));
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
    Wanted wanted("out.tif");
    std::string name = row.name ? row.name : "";
    wanted.ifds[0].matte = {row.name ? name.data() : nullptr, 1, ORB_C_INTEGER, 8};
    wanted.settings = {{kAlpha, row.setting}};
    ASSERT_EQ(wanted.write(), 0);
    inspect("out.tif", [&row](TIFF* tiff) {
      uint16_t count = 0;
      uint16_t* kinds = nullptr;
      ASSERT_EQ(TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds), 1);
      EXPECT_EQ(kinds[0], row.expected);
    });
    EXPECT_STREQ(open_read("out.tif")->info.images[0].matte.name, row.kept);
    EXPECT_STREQ(wanted.open()->info.images[0].matte.name, row.kept);
  }
}

TEST_F(TiffTest, indices_are_written_with_their_table) {
  Wanted wanted("out.tif");
  wanted.ifds[0].color.count = 0;
  wanted.ifds[0].index = {nullptr, 1, ORB_C_INTEGER, 11};
  EXPECT_EQ(wanted.write(), ORB_E_HANDLE) << "without a table";
  ORB_LUT* lut = ORB_lut_alloc(2048);
  for (int i = 0; i < 2048; ++i) lut->entries[i] = {{static_cast<uint16_t>(i * 31), 7, 9, 65535}};
  wanted.info.write_option = reinterpret_cast<uintptr_t>(lut);
  ASSERT_EQ(wanted.write(), 0) << reports.texts();
  const Image image = open_read("out.tif", {{0, 1}});
  ASSERT_TRUE(image);
  EXPECT_EQ(read_all(*image), noise_of(wanted.ifds[0]));
  ORB_LUT* again = nullptr;
  ASSERT_EQ(ORB_lut_read(image.get(), &again), 0);
  EXPECT_EQ(again->entries[2047].rgba[0], lut->entries[2047].rgba[0]);
  ORB_lut_free(again);
  lut->entry_count = 100;
  EXPECT_EQ(wanted.write(), ORB_E_HANDLE) << "an index without a colour";
  lut->entry_count = 2048;
  lut->entries[5].rgba[3] = 0;
  EXPECT_EQ(wanted.write(), ORB_E_HANDLE) << "an alpha";
  ORB_lut_free(lut);
}

TEST_F(TiffTest, what_a_tiff_cannot_hold_is_refused_before_the_file_is_touched) {
  const struct {
    void (*change)(ORB_IFD&);
    const char* report;
  } rows[] = {{[](ORB_IFD& ifd) { ifd.color.count = 2; }, "cannot handle the requested action"},
              {[](ORB_IFD& ifd) { ifd.color.count = 0; }, "cannot handle the requested action"},
              {[](ORB_IFD& ifd) { ifd.matte.count = 2; }, "cannot handle the requested action"},
              {[](ORB_IFD& ifd) { ifd.color.width = 33; }, "cannot handle image channel width"},
              {[](ORB_IFD& ifd) { ifd.color.type = 9; }, "cannot handle image channel type"},
              {[](ORB_IFD& ifd) {
                 ifd.matte = {nullptr, 1, ORB_C_INTEGER, 1};
               },
               "cannot handle matte channel width"},
              {[](ORB_IFD& ifd) {
                 ifd.aux = {nullptr, 1, ORB_C_FLOAT, 32};
               },
               "cannot handle auxiliary channel type"},
              {[](ORB_IFD& ifd) { ifd.window.right = -1; }, "cannot handle the requested action"}};
  for (const auto& row : rows) {
    reports.clear();
    Wanted wanted("out.tif", 2);
    row.change(wanted.ifds[1]);
    EXPECT_FALSE(wanted.open());
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_THAT(reports.texts(), HasSubstr(row.report));
    EXPECT_FALSE(std::filesystem::exists("out.tif"));
  }
}

TEST_F(TiffTest, everything_beside_the_picture_comes_back) {
  std::string texts[] = {"doc",     "two\nlines \\ and\ttab",
                         "program", "host",
                         "user",    "last Tuesday",
                         "1:23",    "box",
                         "strips",  "page 1",
                         "colour",  "depth"};
  Wanted wanted("out.tif", 2, 4, 3);
  wanted.info.word_e = 0;
  ORB_INFO& info = wanted.info;
  char** fields[] = {&info.text1, &info.text3, &info.text4, &info.text5, &info.text6,
                     &info.text7, &info.text8, &info.text9, &info.text10};
  for (size_t i = 0; i < std::size(fields); ++i) *fields[i] = texts[i].data();
  wanted.ifds[0].name = texts[9].data();
  wanted.ifds[0].color.name = texts[10].data();
  wanted.ifds[1].aux = {texts[11].data(), 1, ORB_C_INTEGER, 8};
  wanted.ifds[0].curve.gamma = 1.7F;
  wanted.ifds[1].curve = {ORB_CURVE_TABLE, 1.5F, 0, 1, 256, ORB_C_INTEGER, 16, nullptr};
  ASSERT_EQ(ORB_response_curve_init(&wanted.ifds[1].curve), 0);
  wanted.ifds[0].pixel_aspect = 10.0F / 11.0F;
  wanted.ifds[1].pixel_aspect = 3.14159274F;
  wanted.ifds[0].window = wanted.ifds[0].active_window = {-7, -4, 100, 102};
  info.frame_number = -12;
  info.frame_rate = 23.976F;
  info.job_number = 7;
  info.field_value = 2;
  const float primaries[12] = {0.68F, 0.32F, 0,     0.265F,  0.69F,  0.045F,
                               0.15F, 0.06F, 0.79F, 0.3127F, 0.329F, 0.3583F};
  std::copy_n(primaries, 12, info.chromaticity);
  ASSERT_EQ(wanted.write(), 0) << reports.texts();
  const Image image = open_read("out.tif");
  ASSERT_TRUE(image);
  const ORB_INFO& got = image->info;
  const char* kept[] = {got.text1,
                        got.text3,
                        got.text4,
                        got.text5,
                        got.text6,
                        got.text7,
                        got.text8,
                        got.text9,
                        got.text10,
                        got.images[0].name,
                        got.images[0].color.name,
                        got.images[1].aux.name};
  for (size_t i = 0; i < std::size(kept); ++i) EXPECT_STREQ(kept[i], texts[i].c_str());
  EXPECT_EQ(got.word_e, 0U);
  EXPECT_EQ(got.images[0].curve.gamma, 1.7F);
  ASSERT_EQ(got.images[1].curve.kind, ORB_CURVE_TABLE);
  EXPECT_EQ(std::memcmp(got.images[1].curve.tables[0], wanted.ifds[1].curve.tables[0], 512), 0);
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(got.images[i].pixel_aspect, wanted.ifds[static_cast<size_t>(i)].pixel_aspect);
  EXPECT_EQ(got.images[0].window.left, -7);
  EXPECT_EQ(got.images[0].window.top, 102);
  EXPECT_EQ(got.frame_number, -12);
  EXPECT_EQ(got.frame_rate, 23.976F);
  EXPECT_EQ(got.job_number, 7);
  EXPECT_EQ(got.field_value, 2);
  for (int i = 0; i < 12; ++i) EXPECT_NEAR(got.chromaticity[i], primaries[i], 1e-6);
  EXPECT_EQ(read_all(*image), noise_of(wanted.ifds[0]));
  EXPECT_EQ(reports.texts(), "");
  ORB_response_curve_done(&wanted.ifds[1].curve);
}

TEST_F(TiffTest, after_the_open_the_handle_says_what_is_stored) {
  Wanted wanted("out.tif");
  std::string stamp = "{86400}";
  wanted.info.text7 = stamp.data();
  wanted.info.word_e = 0;
  wanted.ifds[0].curve.gamma = NAN;
  wanted.ifds[0].pixel_aspect = -1;
  wanted.info.chromaticity[0] = -1;
  wanted.ifds[0].active_window.top = 3;
  const Image image = wanted.open();
  ASSERT_TRUE(image);
  EXPECT_THAT(image->info.text7, HasSubstr("1970:01:0"));
  EXPECT_EQ(image->info.word_e, ORB_ASSUMED_GAMMA | ORB_ASSUMED_PIXEL_ASPECT | ORB_ASSUMED_PRIMARIES);
  EXPECT_EQ(image->info.images[0].curve.gamma, 2.2F);
  EXPECT_EQ(image->info.images[0].pixel_aspect, 1.0F);
  EXPECT_EQ(image->info.images[0].active_window.top, 20);
  EXPECT_EQ(image->info.images[0].orientation & ORB_BOTTOM_UP, 0U);
  EXPECT_EQ(reports.reports.size(), 3U) << reports.texts();
}

TEST_F(TiffTest, a_file_that_is_not_whole_has_no_page) {
  const auto write_some = [](Wanted& wanted, int32_t lines) {
    Image image = wanted.open();
    std::vector<uint8_t> row(37);
    void* rows[] = {row.data()};
    EXPECT_EQ(ORB_scan_write(image.get(), 19, rows), ORB_E_SCANLINE) << "out of sequence";
    for (int32_t n = 0; n < lines; ++n) {
      EXPECT_EQ(image->scan(image->driver[n / 21].data, 20 - n % 21, rows), 0);
    }
    return ORB_close(image.release());
  };
  for (const int32_t lines : {0, 20, 21, 41}) {
    Wanted wanted("out.tif", 2);
    reports.clear();
    EXPECT_EQ(write_some(wanted, lines), ORB_E_WRITE) << lines;
    EXPECT_THAT(reports.texts(), HasSubstr("scanlines of page")) << lines;
    EXPECT_NE(read_whole("out.tif"), 0) << lines;
  }
  Wanted narrow("out.tif");
  narrow.ifds[0].color.width = 7;
  Image image = narrow.open();
  std::vector<uint8_t> row(37, 0x80);
  void* rows[] = {row.data()};
  EXPECT_EQ(ORB_scan_write(image.get(), 20, rows), ORB_E_HANDLE) << "a sample above its width";
  Wanted full("/dev/full");
  EXPECT_EQ(full.write(), ORB_E_WRITE);
  EXPECT_THAT(reports.reports.back().text, HasSubstr("No space left on device"));
}

}  // namespace
}  // namespace orb::testing
