// What is written, read back; and what is refused.
#include <gmock/gmock.h>

#include <algorithm>
#include <bit>
#include <utility>

#include "gif_file.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

class Write : public GifTest {};

// A lookup table of so many entries, all different.
class Table {
 public:
  explicit Table(int32_t count) : lut_(ORB_lut_alloc(count)) {
    for (int32_t i = 0; i < count; ++i) {
      const uint16_t colour[4] = {static_cast<uint16_t>(i * 257), static_cast<uint16_t>(65535 - i * 257), 257,
                                  65535};
      std::copy_n(colour, 4, lut_->entries[i].rgba);
    }
  }
  ~Table() { ORB_lut_free(lut_); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  uint16_t& value(int32_t entry, int channel) { return lut_->entries[entry].rgba[channel]; }
  [[nodiscard]] uint64_t option() const { return reinterpret_cast<uintptr_t>(lut_); }

 private:
  ORB_LUT* lut_;
};

Wanted indices(const Table& table, int32_t bits, const std::string& path = "out.gif", int32_t width = 5) {
  Wanted wanted("gif", path, width, 2);
  wanted.group(&ORB_IFD::index, 1, bits);
  wanted.info.write_option = table.option();
  return wanted;
}

// The letters, "/" between the rows, as one frame. The first code that is not 0.
int32_t write_letters(ORB_IMAGE* image, const std::string& letters) {
  const auto width = static_cast<size_t>(image->info.images[0].window.right + 1);
  const int32_t top = image->info.images[0].window.top;
  for (size_t at = 0; at < letters.size(); at += width + 1) {
    std::vector<uint16_t> wide;
    std::vector<uint8_t> narrow;
    for (size_t i = at; i < at + width; ++i) wide.push_back(static_cast<uint8_t>(letters[i] - 'a'));
    narrow.assign(wide.begin(), wide.end());
    void* row = image->info.images[0].color.count == 0 ? static_cast<void*>(wide.data()) : narrow.data();
    const int32_t code = ORB_scan_write(image, top - static_cast<int32_t>(at / (width + 1)), &row);
    if (code != 0) return code;
  }
  return 0;
}

int32_t write_frame(Image image, const std::string& letters) {
  if (!image) return orb__err;
  const int32_t code = write_letters(image.get(), letters);
  const int32_t closed = ORB_close(image.release());
  return code != 0 ? code : closed;
}

TEST_F(Write, indices_and_their_table_come_back_at_every_width) {
  for (int32_t bits = 1; bits <= 8; ++bits) {
    const int32_t count = 1 << bits;
    Table table(count);
    table.value(1, 3) = 0;  // one that shows through
    const std::string path = std::to_string(bits) + ".gif";
    const auto all = static_cast<size_t>(count);
    std::string letters(all * 2 + 1, 'b');
    for (size_t i = 0; i < all; ++i) letters[i] = static_cast<char>('a' + i);  // each index once
    letters[all] = '/';
    ASSERT_EQ(write_frame(indices(table, bits, path, count).open(), letters), 0) << bits;
    const Image image = open_gif(path, Ask::indices);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->info.images[0].index.width, bits);
    EXPECT_EQ(shown(image.get()), letters);
    ORB_LUT* lut = nullptr;
    ASSERT_EQ(ORB_lut_read(image.get(), &lut), 0);
    ASSERT_EQ(lut->entry_count, count);
    for (int32_t i = 0; i < count; ++i) {
      for (int c = 0; c < 4; ++c) EXPECT_EQ(lut->entries[i].rgba[c], table.value(i, c)) << bits << ' ' << i;
    }
    ORB_lut_free(lut);
  }
}

TEST_F(Write, greys_come_back_at_every_width) {
  for (int32_t bits = 1; bits <= 8; ++bits) {
    const std::string path = std::to_string(bits) + ".gif";
    const Planes planes = noise(1, bits, 300 * 7);
    ASSERT_EQ(write_all(Wanted("gif", path, 300, 7).group(&ORB_IFD::color, 1, bits).open(), planes), 0);
    const Image image = open_gif(path);
    EXPECT_EQ(image->info.images[0].color.width, bits);
    EXPECT_EQ(image->info.images[0].matte.count, 0);
    EXPECT_EQ(read_all(*image), planes) << bits;
  }
}

TEST_F(Write, an_animation_comes_back_with_what_the_handle_said_of_it) {
  Table table(4);
  table.value(0, 3) = 0;
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
    EXPECT_EQ(write_letters(image.get(), frames[i]), 0);
  }
  const float rate = image->info.frame_rate;
  const float aspect = image->info.images[0].pixel_aspect;
  EXPECT_EQ(rate, 25.0F);  // in hundredths of a second
  EXPECT_EQ(ORB_close(image.release()), 0);
  const Image back = open_gif("out.gif", Ask::indices);
  EXPECT_EQ(back->info.frame_count, 3);
  EXPECT_EQ(back->info.frame_rate, rate);
  EXPECT_EQ(back->info.images[0].pixel_aspect, aspect);
  EXPECT_STREQ(back->info.text3, words.c_str());
  for (int32_t i = 0; i < 3; ++i) {
    EXPECT_EQ(ORB_set_frame(back.get(), i + 1, 0, 0), 0);
    EXPECT_EQ(shown(back.get()), frames[i]);
  }
}

TEST_F(Write, says_how_often_an_animation_is_played) {
  const struct {
    float plays;
    const char* report;
  } rows[] = {{1, ""}, {0, "for ever"}, {3, "played 3 times"}, {65536, "played 65536 times"}};
  const Table table(2);
  for (const auto& row : rows) {
    Wanted wanted = indices(table, 1);
    wanted.info.frame_count = 2;
    wanted.settings = {{1, std::bit_cast<int32_t>(row.plays)}};
    Image image = wanted.open();
    ASSERT_TRUE(image) << row.plays;
    EXPECT_EQ(write_letters(image.get(), "aaaaa/bbbbb"), 0);
    EXPECT_EQ(ORB_set_frame(image.get(), 2, 0, 0), 0);
    EXPECT_EQ(write_frame(std::move(image), "bbbbb/bbbbb"), 0);
    ORB_multiframe_set(1, 15);  // the file of the row before is no longer kept
    reports.clear();
    EXPECT_EQ(open_gif("out.gif")->info.frame_count, 2);
    EXPECT_THAT(reports.texts(), HasSubstr(row.report));
    EXPECT_EQ(reports.reports.empty(), row.plays == 1);
  }
}

TEST_F(Write, refuses_what_would_not_come_back_before_it_touches_the_file) {
  save("out.gif", "as it was");
  Table table(4);
  const auto code_of = [&](auto change) {
    Wanted wanted = indices(table, 2);
    change(wanted);
    return wanted.open() ? 0 : orb__err;
  };
  const auto table_with = [&](int32_t entry, int channel, uint16_t value) {
    const uint16_t before = table.value(entry, channel);
    table.value(entry, channel) = value;
    const int32_t code = code_of([](Wanted&) {});
    table.value(entry, channel) = before;
    return code;
  };
  EXPECT_EQ(code_of([](Wanted& w) { w.info.write_option = 0; }), -16);
  EXPECT_EQ(code_of([](Wanted& w) { w.group(&ORB_IFD::index, 1, 1); }), -16);  // more entries than indices
  EXPECT_EQ(code_of([](Wanted& w) { w.group(&ORB_IFD::index, 1, 9); }), -16);
  EXPECT_EQ(code_of([](Wanted& w) { w.group(&ORB_IFD::index, 0, 8).group(&ORB_IFD::color, 3, 8); }), -16);
  EXPECT_EQ(code_of([](Wanted& w) { w.group(&ORB_IFD::color, 1, 9); }), -16);
  EXPECT_EQ(code_of([](Wanted& w) { w.group(&ORB_IFD::color, 1, 32, ORB_C_FLOAT); }), -16);
  EXPECT_EQ(code_of([](Wanted& w) { w.group(&ORB_IFD::matte, 1, 8); }), -16);
  EXPECT_EQ(code_of([](Wanted& w) { w.ifd.window.right = 65535; }), -16);
  EXPECT_EQ(code_of([](Wanted& w) { w.settings = {{1, std::bit_cast<int32_t>(1.5F)}}; }), -16);
  EXPECT_EQ(table_with(2, 0, 256), -16);    // more than 8 bits
  EXPECT_EQ(table_with(2, 3, 32896), -16);  // half transparent
  table.value(0, 3) = 0;
  EXPECT_EQ(table_with(2, 3, 0), -16);  // two that are
  EXPECT_EQ(reports.reports.size(), 12U) << reports.texts();
  EXPECT_EQ(load("out.gif"), "as it was");
}

TEST_F(Write, takes_rows_and_frames_in_order_and_leaves_no_file_that_seems_whole) {
  const Table table(3);
  Wanted wanted = indices(table, 2);
  wanted.info.frame_count = 2;
  Image image = wanted.open();
  ASSERT_TRUE(image);
  uint16_t samples[] = {0, 1, 2, 3, 0};
  void* row = samples;
  EXPECT_EQ(ORB_scan_write(image.get(), 0, &row), -2);
  EXPECT_EQ(ORB_scan_write(image.get(), 1, &row), -16);  // entry 3 does not exist; the row may come again
  samples[3] = 0;
  EXPECT_EQ(ORB_scan_write(image.get(), 1, &row), 0);
  EXPECT_EQ(ORB_set_frame(image.get(), 2, 0, 0), -16);  // a row is missing
  EXPECT_EQ(ORB_scan_write(image.get(), 0, &row), 0);
  EXPECT_EQ(ORB_scan_write(image.get(), 0, &row), -2);
  EXPECT_EQ(ORB_set_frame(image.get(), 3, 0, 0), -16);
  reports.clear();
  EXPECT_EQ(ORB_close(image.release()), -20);
  EXPECT_EQ(reports.texts(), "Cannot write to out.gif; closed when 1 of 2 frames were written");
  EXPECT_EQ(read_whole("gif", "out.gif"), -18);
  EXPECT_EQ(write_frame(indices(table, 2, "/dev/full").open(), "aaaaa/aaaaa"), -20);
}

}  // namespace
}  // namespace orb::testing
