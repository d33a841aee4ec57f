// RLA through the real tool and the real modules: what goes in comes out.
#include <gtest/gtest.h>

#include <cstring>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

TEST(RlaPlugin, png_to_rla_and_back_is_the_same_picture) {
  const Folder folder;
  const struct {
    int depth, color_type;
  } rows[] = {{1, 0}, {2, 0}, {4, 0}, {8, 0}, {16, 0}, {8, 4}, {16, 4}, {8, 2}, {16, 2}, {8, 6}, {16, 6}};
  for (const auto& row : rows) {
    const std::string what = std::to_string(row.depth) + " bits of type " + std::to_string(row.color_type);
    write_noise_png(folder.path("a.png"), 61, 17, row.depth, row.color_type);
    const Outcome there = orb(folder, {"convert", "-f", "a.png", "-o", "b.rla"});
    ASSERT_EQ(there.status, 0) << what << there.err;
    const Outcome back = orb(folder, {"convert", "-f", "b.rla", "-o", "c.png"});
    ASSERT_EQ(back.status, 0) << what << back.err;
    EXPECT_EQ(read_png(folder.path("c.png")), read_png(folder.path("a.png"))) << what;
  }
}

// A description with all that RLA keeps, more digits than it stores, and 16 of floating point.
void rich(ORB_INFO& info, ORB_IFD& image) {
  static char text[] = "a text";
  info.text1 = info.text3 = info.text7 = info.text9 = text;
  info.frame_number = 1051;
  info.job_number = 7;
  info.chromaticity[0] = 0.64003F;
  info.chromaticity[2] = 1 - info.chromaticity[0] - info.chromaticity[1];
  info.word_e = ORB_ASSUMED_FRAME_RATE;
  image.curve.gamma = 1.70003F;
  image.window = {3, 9, 2, 6};
  image.active_window = {4, 8, 3, 5};
  image.pair_a[0] = 7;
  image.pair_a[1] = 5;
}

TEST(RlaPlugin, keeps_windows_texts_and_rounded_numbers_without_a_word) {
  const Folder folder;
  PipeFile file;
  file.change = rich;
  file.write(folder.path("a.pipe"));
  const Outcome there = orb(folder, {"convert", "a.pipe", "-o", "b.rla"});
  ASSERT_EQ(there.status, 0) << there.err;
  const Outcome again = orb(folder, {"convert", "b.rla", "-o", "c.rla"});
  ASSERT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(bytes_of(folder.path("b.rla")), bytes_of(folder.path("c.rla")));
  EXPECT_EQ(orb(folder, {"diff", "a.pipe", "c.rla"}).status, 0);
}

// It reads as local time, which has more characters than the header has room for.
TEST(RlaPlugin, copies_a_date_in_seconds) {
  const Folder folder;
  PipeFile file;
  file.change = [](ORB_INFO& info, ORB_IFD&) {
    static char date[] = "{1700000000}";
    info.text7 = date;
  };
  file.write(folder.path("a.pipe"));
  ASSERT_EQ(orb(folder, {"convert", "a.pipe", "-o", "b.rla"}).status, 0);
  const Outcome again = orb(folder, {"convert", "b.rla", "-o", "c.rla"});
  ASSERT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(bytes_of(folder.path("b.rla")), bytes_of(folder.path("c.rla")));
}

TEST(RlaPlugin, names_what_it_does_not_keep) {
  const Folder folder;
  const struct {
    const char* name;  // of --drop
    void (*change)(ORB_INFO&, ORB_IFD&);
  } rows[] = {
      {"frame-rate", [](ORB_INFO& info, ORB_IFD&) { info.frame_rate = 25, info.word_e = 0; }},
      {"frame-number",
       [](ORB_INFO& info, ORB_IFD&) { info.frame_number = 32768, info.word_e = ORB_ASSUMED_FRAME_RATE; }},
      {"pixel-aspect",
       [](ORB_INFO& info, ORB_IFD& image) {
         image.pixel_aspect = 1.0667F, info.word_e = ORB_ASSUMED_FRAME_RATE;
       }},
      {"date", [](ORB_INFO& info, ORB_IFD&) {
         static char date[] = "the first day of January 1970";
         info.text7 = date;
       }}};
  for (const auto& row : rows) {
    PipeFile file;
    file.change = row.change;
    file.write(folder.path("a.pipe"));
    const Outcome refused = orb(folder, {"convert", "-f", "a.pipe", "-o", "b.rla"});
    EXPECT_EQ(refused.status, 5) << row.name;
    EXPECT_NE(refused.err.find(std::string("(--drop ") + row.name + ")"), std::string::npos) << refused.err;
    EXPECT_EQ(orb(folder, {"convert", "-f", "a.pipe", "-o", "b.rla", "--drop", row.name}).status, 0)
        << row.name;
  }
}

TEST(RlaPlugin, float_with_matte_and_depth_comes_back_to_the_bit) {
  const Folder folder;
  PipeFile file;
  file.change = [](ORB_INFO&, ORB_IFD& image) {
    image.color = {nullptr, 3, ORB_C_FLOAT, 32};
    image.matte = {nullptr, 1, ORB_C_FLOAT, 32};
    image.aux = {nullptr, 1, ORB_C_DOUBLE, 64};
  };
  file.write(folder.path("a.pipe"));
  ASSERT_EQ(orb(folder, {"convert", "a.pipe", "-o", "b.rla"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", "b.rla", "-o", "c.pipe"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", "c.pipe", "-o", "d.rla"}).status, 0);
  EXPECT_EQ(bytes_of(folder.path("b.rla")), bytes_of(folder.path("d.rla")));
  EXPECT_EQ(orb(folder, {"diff", "a.pipe", "b.rla"}).status, 0);
}

// Not positioned: the table stays empty, and the time follows the data.
TEST(RlaPlugin, standard_output_gets_the_time_behind_the_data) {
  const Folder folder;
  PipeFile().write(folder.path("a.pipe"));
  ASSERT_EQ(shell(folder, "$ORB convert a.pipe -o b.rla && $ORB convert --to rla a.pipe -o - > c.rla").status,
            0);
  std::string file = bytes_of(folder.path("b.rla"));
  file.replace(614, 12, std::string(12, '\0'));
  file.replace(614, 7, "unknown");
  file.replace(740, 20, std::string(20, '\0'));
  EXPECT_EQ(bytes_of(folder.path("c.rla")), file + std::string("00:00:00\0\0\0\0", 12));
}

TEST(RlaPlugin, the_older_revision_is_read_by_its_ending_and_never_written) {
  const Folder folder;
  PipeFile().write(folder.path("a.pipe"));
  ASSERT_EQ(orb(folder, {"convert", "a.pipe", "-o", "b.rla"}).status, 0);
  std::string file = bytes_of(folder.path("b.rla"));
  file.replace(26, 2, std::string(2, '\0'));
  put_bytes(folder.path("c.rlb"), file);
  EXPECT_EQ(orb(folder, {"diff", "a.pipe", "c.rlb"}).status, 0);
  EXPECT_NE(orb(folder, {"convert", "a.pipe", "-o", "d.rlb"}).status, 0);
  put_bytes(folder.path("named-nothing"), file);
  EXPECT_NE(orb(folder, {"info", "named-nothing"}).out.find("rla"), std::string::npos);
}

}  // namespace
}  // namespace orb::testing
