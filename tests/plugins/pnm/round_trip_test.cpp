// Every kind with every width there and back, and what a kind cannot hold.
#include <gmock/gmock.h>

#include <utility>

#include "orbbase/driver.h"
#include "pnm_test.h"

namespace orb::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

TEST_F(PnmTest, every_width_of_every_kind_comes_back_with_its_samples) {
  const struct {
    const char* key;
    int colours, mattes, auxes, least, most;
  } rows[] = {{"pbm", 1, 0, 0, 1, 1},   {"pgm", 1, 0, 0, 1, 16}, {"ppm", 3, 0, 0, 1, 16},
              {"pam", 1, 1, 0, 1, 16},  {"pam", 3, 1, 0, 1, 16}, {"pam", 3, 0, 2, 8, 9},
              {"pam", 2, 0, 0, 8, 8},   {"pam", 0, 0, 1, 8, 8},  {"pam", 5, 3, 2, 16, 16},
              {"pfm", 1, 0, 0, 32, 32}, {"pfm", 3, 0, 0, 32, 32}};
  for (const auto& row : rows) {
    for (int bits = row.least; bits <= row.most; ++bits) {
      for (const bool is_plain : {false, true}) {
        SCOPED_TRACE(::testing::Message()
                     << row.key << row.colours << row.mattes << row.auxes << " " << bits);
        Wanted wanted(row.key, "out", 13, 5);
        wanted.group(&ORB_IFD::color, row.colours, bits, bits == 32 ? ORB_C_FLOAT : ORB_C_INTEGER)
            .group(&ORB_IFD::matte, row.mattes, bits)
            .group(&ORB_IFD::aux, row.auxes, bits);
        if (is_plain) wanted.settings = {{kEncoding, 1}};
        if (is_plain && (row.key[1] == 'a' || row.key[1] == 'f')) continue;
        const Planes planes = noise(row.colours + row.mattes + row.auxes, bits, 13 * 5);
        ASSERT_EQ(write_all(wanted.open(), planes), 0) << reports.texts();
        const Image image = open_read(row.key, "out");
        ASSERT_TRUE(image) << reports.texts();
        const ORB_IFD& ifd = image->info.images[0];
        EXPECT_EQ(ifd.color.count, row.colours);
        EXPECT_EQ(ifd.matte.count, row.mattes);
        EXPECT_EQ(ifd.aux.count, row.auxes);
        EXPECT_EQ(row.colours > 0 ? ifd.color.width : bits, bits);
        EXPECT_EQ(read_all(*image), planes);
        EXPECT_EQ(reports.texts(), "");
      }
    }
  }
}

TEST_F(PnmTest, what_a_kind_cannot_hold_is_refused_before_the_file_is_touched) {
  const struct {
    const char* key;
    int colours, mattes, auxes, bits;
    uint32_t type;
    std::vector<Setting> settings;
    const char* report;
  } rows[] = {
      {"pbm", 1, 0, 0, 2, ORB_C_INTEGER, {}, "pbm cannot handle image channel width"},
      {"pbm", 3, 0, 0, 1, ORB_C_INTEGER, {}, "pbm cannot handle the requested action"},
      {"pgm", 3, 0, 0, 8, ORB_C_INTEGER, {}, "pgm cannot handle the requested action"},
      {"pgm", 1, 0, 0, 17, ORB_C_INTEGER, {}, "pgm cannot handle image channel width"},
      {"pgm", 1, 0, 0, 32, ORB_C_FLOAT, {}, "pgm cannot handle image channel type"},
      {"ppm", 3, 1, 0, 8, ORB_C_INTEGER, {}, "ppm cannot handle matte channel type"},
      {"ppm", 3, 0, 1, 8, ORB_C_INTEGER, {}, "ppm cannot handle auxiliary channel type"},
      {"pfm", 3, 0, 0, 16, ORB_C_INTEGER, {}, "pfm cannot handle image channel type"},
      {"pam", 3, 1, 0, 17, ORB_C_INTEGER, {}, "pam cannot handle image channel width"},
      {"pam", 3, 0, 0, 64, ORB_C_DOUBLE, {}, "pam cannot handle image channel type"},
      {"pnm", 2, 0, 0, 8, ORB_C_INTEGER, {}, "pnm cannot handle the requested action"},
      {"pnm", 3, 0, 0, 8, ORB_C_INTEGER, {{kKind, 2}}, "pnm cannot handle the requested action"},
      {"pnm", 3, 0, 0, 8, ORB_C_INTEGER, {{kKind, 6}}, "pnm cannot handle the requested action"},
      {"pnm",
       3,
       0,
       0,
       8,
       ORB_C_INTEGER,
       {{kKind, 4}, {kEncoding, 1}},
       "pnm cannot handle the requested action"},
      {"pgm", 1, 0, 0, 8, ORB_C_INTEGER, {{kEncoding, 2}}, "pgm cannot handle the requested action"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.report);
    save("out", "before");
    reports.clear();
    Wanted wanted(row.key, "out", 2, 2);
    wanted.group(&ORB_IFD::color, row.colours, row.bits, row.type)
        .group(&ORB_IFD::matte, row.mattes, row.bits)
        .group(&ORB_IFD::aux, row.auxes, row.bits);
    wanted.settings = row.settings;
    EXPECT_FALSE(wanted.open());
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(reports.texts(), row.report);
    EXPECT_EQ(load("out"), "before");
  }
  // Two widths have no common maximum.
  Wanted wanted("pam", "out", 2, 2);
  EXPECT_FALSE(wanted.group(&ORB_IFD::color, 3, 8).group(&ORB_IFD::matte, 1, 16).open());
  EXPECT_THAT(reports.texts(), EndsWith("pam cannot handle matte channel width"));
}

TEST_F(PnmTest, the_handle_says_what_will_not_be_kept) {
  Wanted wanted("pgm", "out", 4, 3);
  wanted.group(&ORB_IFD::color, 1, 8);
  wanted.ifd.window = {10, 13, -7, -5};
  wanted.ifd.pixel_aspect = 2;
  wanted.info.word_e = 0;
  wanted.info.frame_number = 7;
  wanted.info.job_number = 9;
  char text[] = "somebody";
  wanted.info.text6 = text;
  const Image image = wanted.open();
  ASSERT_TRUE(image);
  const ORB_INFO& info = image->info;
  EXPECT_EQ(info.images[0].window.left, 0);
  EXPECT_EQ(info.images[0].window.top, 2);
  EXPECT_EQ(info.images[0].pixel_aspect, 1);
  EXPECT_EQ(info.images[0].orientation & ORB_BOTTOM_UP, 0U);
  EXPECT_EQ(info.word_e, 31U);
  EXPECT_EQ(info.frame_number, 1);
  EXPECT_EQ(info.job_number, -1);
  EXPECT_EQ(info.text6, nullptr);
}

TEST_F(PnmTest, a_writer_refuses_samples_and_rows_that_are_not_right_and_says_what_is_missing) {
  Wanted wanted("pgm", "out", 2, 2);
  Image image = wanted.group(&ORB_IFD::color, 1, 3).open();
  ASSERT_TRUE(image);
  uint8_t samples[2] = {7, 8};
  void* rows[] = {samples};
  EXPECT_EQ(ORB_scan_write(image.get(), 1, rows), ORB_E_HANDLE);
  samples[1] = 1;
  EXPECT_EQ(ORB_scan_write(image.get(), 0, rows), ORB_E_SCANLINE);
  EXPECT_EQ(ORB_scan_write(image.get(), 1, rows), 0);
  EXPECT_EQ(ORB_scan_write(image.get(), 1, rows), ORB_E_SCANLINE);
  EXPECT_EQ(ORB_close(image.release()), ORB_E_WRITE);
  EXPECT_THAT(reports.texts(), HasSubstr("a sample does not fit the channel width"));
  EXPECT_THAT(reports.texts(), EndsWith("Cannot write to out; closed when 1 of 2 scanlines were written"));
  EXPECT_NE(read_whole("pgm", "out"), 0);
}

TEST_F(PnmTest, a_full_disk_is_reported_wherever_it_shows) {
  for (const int32_t width : {8, 100000}) {
    for (const int32_t is_plain : {0, 1}) {
      reports.clear();
      Wanted wanted("pgm", "/dev/full", width, 2);
      wanted.group(&ORB_IFD::color, 1, 8).settings = {{kEncoding, is_plain}};
      EXPECT_EQ(write_all(wanted.open(), noise(1, 8, static_cast<size_t>(width) * 2)), ORB_E_WRITE);
      EXPECT_THAT(reports.texts(), HasSubstr("No space left on device"));
    }
  }
}

}  // namespace
}  // namespace orb::testing
