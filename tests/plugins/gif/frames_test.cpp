// What the frames of a GIF look like on its screen, and how it is described.
#include <gmock/gmock.h>

#include <algorithm>

#include "gif_file.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

class Frames : public GifTest {};

struct Composition {
  const char* name;
  GifFile file;
  std::vector<std::string> screens;
};

std::vector<Composition> compositions() {
  return {
      {"left in place",
       {3, 1, {{.picture = "bbb"}, {.left = 1, .picture = "c", .disposal = 1}, {.left = 2, .picture = "d"}}},
       {"bbb", "bcb", "bcd"}},
      {"cleared, to nothing and not to the background colour",
       {3, 1, {{.picture = "bbb"}, {.left = 1, .picture = "cc", .disposal = 2}, {.picture = "d"}}},
       {"bbb", "bcc", "d.."}},
      {"taken away again",
       {3,
        1,
        {{.picture = "bbb"},
         {.left = 1, .picture = "c", .disposal = 3},
         {.left = 2, .picture = "d", .disposal = 3},
         {.picture = "a"}}},
       {"bbb", "bcb", "bbd", "abb"}},
      {"the first one taken away",
       {2, 1, {{.picture = "bb", .disposal = 3}, {.picture = "c"}}},
       {"bb", "c."}},
      {"whole ones taken away",
       {2, 1, {{.picture = "bb"}, {.picture = "cc", .disposal = 3}, {.picture = "d"}}},
       {"bb", "cc", "db"}},
      {"taken away after a clear of all",
       {2,
        1,
        {{.picture = "bb", .disposal = 2}, {.picture = "cc", .disposal = 3}, {.left = 1, .picture = "d"}}},
       {"bb", "cc", ".d"}},
      {"an unknown way is none", {2, 1, {{.picture = "bb", .disposal = 5}, {.picture = "c"}}}, {"bb", "cb"}},
      {"seen through",
       {3, 1, {{.picture = "bbb"}, {.picture = "aca", .transparent = 'a'}, {.picture = "dad"}}},
       {"bbb", "bcb", "dad"}},
      {"a first one with holes",
       {3, 2, {{.picture = "bab/aaa", .transparent = 'a'}, {.left = 1, .top = 1, .picture = "c"}}},
       {"b.b/...", "b.b/.c."}},
      {"beyond the screen",
       {2,
        2,
        {{.left = 1, .top = 1, .picture = "bc/dd"},
         {.left = 2, .picture = "b"},
         {.left = 9, .top = 9, .picture = "b", .disposal = 2},
         {.picture = "cccc"}}},
       {"../.b", "../.b", "../.b", "cc/.b"}},
      {"rows in four passes",
       {1,
        9,
        {{.picture = "a/b/c/d/a/b/c/d/a", .is_interlaced = true},
         {.top = 7, .picture = "b/c/d/d/d", .is_interlaced = true}}},
       {"a/b/c/d/a/b/c/d/a", "a/b/c/d/a/b/c/b/c"}},
      {"palettes of their own",
       {2,
        1,
        {{.picture = "ab"},
         {.left = 1, .picture = "a", .palette = std::string("\x00\x00\xFF\x00\x00\x00", 6)}}},
       {"ab", "ad"}},
      {"the time between is of no matter",
       {1, 1, {{.picture = "b", .delay = 65535}, {.picture = "c"}}},
       {"b", "c"}},
  };
}

TEST_F(Frames, are_composed_as_players_do_in_any_order) {
  for (const Composition& row : compositions()) {
    SCOPED_TRACE(row.name);
    const Image image = open_gif(row.file);
    ASSERT_TRUE(image);
    const auto count = static_cast<int32_t>(row.screens.size());
    ASSERT_EQ(image->info.frame_count, count);
    // Every step from one frame to another, the ones backwards included.
    for (int32_t from = 1; from <= count; ++from) {
      for (int32_t to = 1; to <= count; ++to) {
        ASSERT_EQ(ORB_set_frame(image.get(), from, 0, 0), 0);
        EXPECT_EQ(shown(image.get()), row.screens[static_cast<size_t>(from - 1)]) << from;
        ASSERT_EQ(ORB_set_frame(image.get(), to, 0, 0), 0);
        EXPECT_EQ(shown(image.get()), row.screens[static_cast<size_t>(to - 1)]) << from << " to " << to;
      }
    }
    int32_t frame = 0;
    EXPECT_EQ(ORB_get_frame(image.get(), reinterpret_cast<intptr_t>(&frame), 0, 0), 0);
    EXPECT_EQ(frame, count);
  }
}

TEST_F(Frames, give_a_matte_only_where_a_pixel_can_be_bare) {
  const auto mattes = [](const GifFile& file) { return open_gif(file)->info.images[0].matte.count; };
  const DrawnFrame whole = {.picture = "bc"};
  EXPECT_EQ(mattes({2, 1, {whole, {.picture = "ab", .transparent = 'a'}}}), 0);
  EXPECT_EQ(mattes({2, 1, {whole, {.picture = "b", .disposal = 2}}}), 0);  // cleared when nobody looks
  EXPECT_EQ(mattes({2, 1, {whole, {.picture = "b", .disposal = 2}, whole}}), 0);
  EXPECT_EQ(mattes({2, 1, {whole, {.picture = "b", .disposal = 2}, {.picture = "b"}}}), 1);
  EXPECT_EQ(mattes({2, 1, {{.picture = "b"}}}), 1);
}

TEST_F(Frames, are_given_as_indices_when_one_palette_tells_all) {
  const std::string other = std::string("\x01\x02\x03", 3) + GifFile{}.palette.substr(3);
  const struct {
    const char* name;
    std::vector<DrawnFrame> frames;
    const char* last;  // as indices; null: colours are given
    int transparent;   // entry without alpha
  } rows[] = {
      {"one palette", {{.picture = "abcd"}, {.picture = "d"}}, "dbcd", -1},
      {"the same palette again",
       {{.picture = "abcd"}, {.picture = "d", .palette = GifFile{}.palette}},
       "dbcd",
       -1},
      {"another palette", {{.picture = "abcd"}, {.picture = "d", .palette = other}}, nullptr, -1},
      {"holes", {{.picture = "acbc", .transparent = 'c'}, {.picture = "d", .transparent = 'c'}}, "dcbc", 2},
      {"holes of two kinds",
       {{.picture = "acbc", .transparent = 'c'}, {.picture = "d", .transparent = 'b'}},
       nullptr,
       -1},
      {"bare, without an index for it", {{.picture = "abc"}}, nullptr, -1},
      {"seen through, but never bare",
       {{.picture = "abcd"}, {.picture = "bd", .transparent = 'b'}},
       "adcd",
       -1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Image image = open_gif({4, 1, row.frames}, kAsIndices);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->info.images[0].index.count, row.last ? 1 : 0);
    if (!row.last) continue;
    EXPECT_EQ(image->info.images[0].index.width, 2);
    EXPECT_EQ(image->info.images[0].color.count + image->info.images[0].matte.count, 0);
    if (image->info.frame_count > 0) {
      EXPECT_EQ(ORB_set_frame(image.get(), image->info.frame_count, 0, 0), 0);
    }
    EXPECT_EQ(shown(image.get()), row.last);
    const Table lut = read_table(*image);
    EXPECT_EQ(lut->entry_count, 4);
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(lut->entries[i].rgba[3], i == row.transparent ? 0 : 65535) << i;
      for (int c = 0; c < 3; ++c) EXPECT_EQ(lut->entries[i].rgba[c], i == c + 1 ? 65535 : 0) << i;
    }
  }
}

TEST_F(Frames, of_a_grey_ramp_are_one_channel) {
  const GifFile bilevel = {3, 1, {{.picture = "aba"}}, std::string("\0\0\0\xFF\xFF\xFF", 6)};
  const Image image = open_gif(bilevel);
  EXPECT_EQ(image->info.images[0].color.count, 1);
  EXPECT_EQ(image->info.images[0].color.width, 1);
  EXPECT_EQ(shown(image.get()), "aba");
  EXPECT_EQ(image->info.frame_count, 0);  // one picture
  GifFile reversed = bilevel;
  reversed.palette = std::string("\xFF\xFF\xFF\0\0\0", 6);
  EXPECT_EQ(open_gif(reversed)->info.images[0].color.count, 3);
}

TEST_F(Frames, come_with_what_the_file_declares_and_no_more) {
  const DrawnFrame half_second = {.picture = "b", .delay = 50};
  const Image all = open_gif({1,
                              1,
                              {half_second, half_second},
                              GifFile{}.palette,
                              comment("one") + repeats(0) + comment("two"),
                              113});
  EXPECT_STREQ(all->info.text3, "one\ntwo");
  EXPECT_EQ(all->info.images[0].pixel_aspect, 2.0F);
  EXPECT_EQ(all->info.frame_rate, 2.0F);
  EXPECT_EQ(all->info.word_e, ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_FRAME_NUMBER);
  EXPECT_EQ(reports.texts(), "in.gif: it is to be played for ever, which the description does not carry");
  reports.clear();
  EXPECT_EQ(open_gif({1, 1, {half_second, {.picture = "b", .delay = 150}}})->info.frame_rate, 1.0F);
  EXPECT_THAT(reports.texts(), HasSubstr("the frame rate is their mean"));
  const Image bare = open_gif(GifFile{1, 1, {{.picture = "b"}, {.picture = "b"}}});
  EXPECT_EQ(bare->info.text3, nullptr);
  EXPECT_NE(bare->info.word_e & ORB_ASSUMED_FRAME_RATE, 0U);
  EXPECT_NE(bare->info.word_e & ORB_ASSUMED_PIXEL_ASPECT, 0U);
}

}  // namespace
}  // namespace orb::testing
