// What is written of an animation, read back; and which tables are refused.
#include <gmock/gmock.h>

#include <bit>
#include <utility>

#include "gif_file.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

class Write : public GifTest {};

Wanted indices(const Table& table, int32_t bits) { return Wanted("gif", "out.gif", 5, 2).index(bits, table); }

// Letters as samples, "/" between the rows.
Planes drawn(const std::string& letters) {
  Planes planes(1);
  for (const char c : letters) {
    if (c != '/') planes[0].push_back(static_cast<uint64_t>(c - 'a'));
  }
  return planes;
}

TEST_F(Write, an_animation_comes_back_with_what_the_handle_said_of_it) {
  const Table table = make_table(4);
  table->entries[0].rgba[3] = 0;  // shows through
  Wanted wanted = indices(table, 2);
  wanted.info.frame_count = 3;
  wanted.info.frame_rate = 24;
  std::string words = "a note of " + std::string(600, 'x');  // more than a block holds
  wanted.info.text3 = words.data();
  wanted.ifd.pixel_aspect = 1.1F;
  wanted.info.word_e &= ~static_cast<uint64_t>(ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_PIXEL_ASPECT);
  Image image = wanted.open();
  ASSERT_TRUE(image);
  const std::string frames[] = {"abcda/bbbbb", "aaaaa/ccccc", "ddddd/aaaaa"};
  for (int32_t i = 0; i < 3; ++i) {
    EXPECT_EQ(ORB_set_frame(image.get(), i + 1, 0, 0), 0);
    EXPECT_EQ(write_image(*image, drawn(frames[i])), 0);
  }
  const float rate = image->info.frame_rate;
  const float aspect = image->info.images[0].pixel_aspect;
  EXPECT_EQ(rate, 25.0F);  // in hundredths of a second
  EXPECT_EQ(ORB_close(image.release()), 0);
  const Image back = open_read("gif", "out.gif", kAsIndices);
  EXPECT_EQ(back->info.frame_count, 3);
  EXPECT_EQ(back->info.frame_rate, rate);
  EXPECT_EQ(back->info.images[0].pixel_aspect, aspect);
  EXPECT_STREQ(back->info.text3, words.c_str());
  EXPECT_EQ(read_table(*back)->entries[0].rgba[3], 0);
  for (int32_t i = 0; i < 3; ++i) {
    EXPECT_EQ(ORB_set_frame(back.get(), i + 1, 0, 0), 0);
    EXPECT_EQ(shown(back.get()), frames[i]);
  }
}

TEST_F(Write, says_how_often_an_animation_is_played) {
  const std::pair<float, const char*> rows[] = {
      {1, ""}, {0, "for ever"}, {3, "played 3 times"}, {65536, "played 65536 times"}};
  const Table table = make_table(2);
  for (const auto& [plays, report] : rows) {
    Wanted wanted = indices(table, 1).set(1, std::bit_cast<int32_t>(plays));
    wanted.info.frame_count = 2;
    Image image = wanted.open();
    ASSERT_TRUE(image) << plays;
    EXPECT_EQ(write_image(*image, drawn("aaaaa/bbbbb")), 0);
    EXPECT_EQ(ORB_set_frame(image.get(), 2, 0, 0), 0);
    EXPECT_EQ(write_all(std::move(image), drawn("bbbbb/bbbbb")), 0);
    reports.clear();
    EXPECT_EQ(open_read("gif", "out.gif")->info.frame_count, 2);
    EXPECT_THAT(reports.texts(), HasSubstr(report));
    EXPECT_EQ(reports.reports.empty(), plays == 1);
  }
}

TEST_F(Write, refuses_tables_that_would_not_come_back) {
  const struct {
    int entry, channel;
    uint16_t value;
    int bare;  // an entry without coverage beside it, or -1
  } rows[] = {{2, 0, 256, -1}, {2, 3, 32896, -1}, {2, 3, 0, 0}};  // over 8 bits, half transparent, two bare
  for (const auto& row : rows) {
    const Table table = make_table(4);
    if (row.bare >= 0) table->entries[row.bare].rgba[3] = 0;
    table->entries[row.entry].rgba[row.channel] = row.value;
    EXPECT_FALSE(indices(table, 2).open()) << &row - rows;
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
  }
  EXPECT_EQ(reports.reports.size(), 3U) << reports.texts();
}

TEST_F(Write, takes_frames_in_order_and_leaves_no_file_that_seems_whole) {
  const Table table = make_table(3);
  Wanted wanted = indices(table, 2);
  wanted.info.frame_count = 2;
  Image image = wanted.open();
  ASSERT_TRUE(image);
  EXPECT_EQ(write_image(*image, drawn("abcda/aaaaa")), ORB_E_HANDLE);  // entry 3 does not exist
  uint16_t samples[5] = {};
  void* row = samples;
  EXPECT_EQ(ORB_scan_write(image.get(), 1, &row), 0);
  EXPECT_EQ(ORB_set_frame(image.get(), 2, 0, 0), ORB_E_HANDLE);  // a row is missing
  EXPECT_EQ(ORB_scan_write(image.get(), 0, &row), 0);
  for (const int32_t line : {0, -1}) EXPECT_EQ(ORB_scan_write(image.get(), line, &row), ORB_E_SCANLINE);
  EXPECT_EQ(ORB_set_frame(image.get(), 3, 0, 0), ORB_E_HANDLE);
  reports.clear();
  EXPECT_EQ(ORB_close(image.release()), ORB_E_WRITE);
  EXPECT_EQ(reports.texts(), "Cannot write to out.gif; closed when 1 of 2 frames were written");
  EXPECT_EQ(read_whole("gif", "out.gif"), ORB_E_READ);
}

}  // namespace
}  // namespace orb::testing
