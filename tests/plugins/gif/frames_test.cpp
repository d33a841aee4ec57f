// The frames of a GIF: what they look like on its screen, played, and written.
#include <gmock/gmock.h>

#include <cmath>

#include "gif_file.h"

namespace orb::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct Composition {
  const char* name;
  GifFile file;
  std::vector<std::string> screens;
  Settings settings = {};
};

std::vector<Composition> compositions() {
  return {
      {"left in place", {3, 1, {{"bbb"}, {"c", kLeft, 1}, {"d", 0, 2}}}, {"bbb", "bcb", "bcd"}},
      {"cleared, to nothing and not to the background colour",
       {3, 1, {{"bbb"}, {"cc", kCleared, 1}, {"d"}}},
       {"bbb", "bcc", "d.."}},
      {"taken away again",
       {3, 1, {{"bbb"}, {"c", kTakenAway, 1}, {"d", kTakenAway, 2}, {"a"}}},
       {"bbb", "bcb", "bbd", "abb"}},
      {"the first one taken away", {2, 1, {{"bb", kTakenAway}, {"c"}}}, {"bb", "c."}},
      {"whole ones taken away", {2, 1, {{"bb"}, {"cc", kTakenAway}, {"d"}}}, {"bb", "cc", "db"}},
      {"taken away after a clear of all",
       {2, 1, {{"bb", kCleared}, {"cc", kTakenAway}, {"d", 0, 1}}},
       {"bb", "cc", ".d"}},
      {"an unknown way is none", {2, 1, {{"bb", 5}, {"c"}}}, {"bb", "cb"}},
      {"seen through",
       {3, 1, {{"bbb"}, {.picture = "aca", .transparent = 'a'}, {"dad"}}},
       {"bbb", "bcb", "dad"}},
      {"a first one with holes",
       {3, 2, {{.picture = "bab/aaa", .transparent = 'a'}, {"c", 0, 1, 1}}},
       {"b.b/...", "b.b/.c."}},
      {"beyond the screen",
       {2, 2, {{"bc/dd", 0, 1, 1}, {"b", 0, 2}, {"b", kCleared, 9, 9}, {"cccc"}}},
       {"../.b", "../.b", "../.b", "cc/.b"}},
      {"rows in four passes",
       {1,
        9,
        {{.picture = "a/b/c/d/a/b/c/d/a", .is_interlaced = true},
         {.picture = "b/c/d/d/d", .top = 7, .is_interlaced = true}}},
       {"a/b/c/d/a/b/c/d/a", "a/b/c/d/a/b/c/b/c"}},
      {"palettes of their own",
       {2, 1, {{"ab"}, {.picture = "a", .left = 1, .palette = std::string("\x00\x00\xFF\x00\x00\x00", 6)}}},
       {"ab", "ad"}},
      {"as indices with holes",
       {4, 1, {{.picture = "acbc", .transparent = 'c'}, {.picture = "d", .transparent = 'c'}}},
       {"acbc", "dcbc"},
       kAsIndices},
      {"as indices seen through",
       {4, 1, {{"abcd"}, {.picture = "bd", .transparent = 'b'}}},
       {"abcd", "adcd"},
       kAsIndices}};
}

TEST_F(GifTest, frames_are_composed_as_players_do_in_any_order) {
  for (const Composition& row : compositions()) {
    SCOPED_TRACE(row.name);
    const Image image = open_gif(row.file, row.settings);
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

// ---- Playback

// Twelve frames, each of which moves a dot and shows for as many hundredths as its number.
GifFile twelve() {
  GifFile file = {12, 1, {{.picture = "baaaaaaaaaaa", .delay = 1}}};
  for (int i = 1; i < 12; ++i) file.frames.push_back({.picture = "ab", .left = i - 1, .delay = i + 1});
  return file;
}

// What a sink saw of each frame: its number, where the dot is, and for how long.
struct Seen {
  std::vector<int32_t> frames = {};
  std::vector<size_t> dots = {};
  std::vector<double> seconds = {};
  int32_t stops_at = 0;  // this frame stops the playback
  int32_t fails_at = 0;  // this frame gives 7
};

int32_t see(void* user_data, ORB_IMAGE* image, int32_t frame, double seconds) {
  Seen& seen = *static_cast<Seen*>(user_data);
  seen.frames.push_back(frame);
  seen.dots.push_back(shown(image).find('b'));
  seen.seconds.push_back(seconds);
  if (frame == seen.stops_at) ORB_playback_stop(image, 0, 0, 0);
  return frame == seen.fails_at && seen.frames.size() > 3 ? 7 : 0;
}

class Playback : public GifTest {
 protected:
  Playback() : image_(open_gif(twelve())) { bind(&see); }

  void bind(ORB_PLAYBACK_SINK sink) {
    EXPECT_EQ(ORB_playback_bind(image_.get(), reinterpret_cast<intptr_t>(sink),
                                reinterpret_cast<intptr_t>(&seen_), 0),
              0);
  }
  int32_t params(float rate, uint32_t first, uint32_t last, bool loops = false) {
    return ORB_playback_params(image_.get(), reinterpret_cast<intptr_t>(&rate), 0, 0, first, last, loops, 0,
                               0);
  }
  int32_t play() { return ORB_playback_play(image_.get(), 0, 0, 0, 0, 0); }

  Image image_;
  Seen seen_;
};

TEST_F(Playback, gives_the_frames_that_its_parameters_name_until_it_is_stopped) {
  EXPECT_EQ(play(), 0);
  EXPECT_THAT(seen_.frames, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
  EXPECT_THAT(seen_.dots, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
  for (size_t i = 0; i < 12; ++i) EXPECT_DOUBLE_EQ(seen_.seconds[i], static_cast<double>(i + 1) / 100) << i;
  const struct {
    float rate;
    uint32_t first, last;
    bool loops;
    int32_t stops_at, fails_at, code;
    std::vector<int32_t> frames;
  } rows[] = {{4, 5, 7, false, 0, 0, 0, {5, 6, 7}},
              {0, 11, 0, true, 0, 12, 7, {11, 12, 11, 12}},  // the sink's result, in the second round
              {0, 0, 3, true, 2, 0, 0, {1, 2}}};
  for (const auto& row : rows) {
    seen_ = {.stops_at = row.stops_at, .fails_at = row.fails_at};
    EXPECT_EQ(params(row.rate, row.first, row.last, row.loops), 0);
    EXPECT_EQ(play(), row.code);
    EXPECT_EQ(seen_.frames, row.frames);
    EXPECT_TRUE(row.rate == 0 || seen_.seconds[0] == 1 / row.rate);
  }
  seen_ = {};
  EXPECT_EQ(ORB_playback_goto(image_.get(), 9, 0, 0), 0);
  EXPECT_EQ(ORB_set_frame(image_.get(), 3, 0, 0), 0);  // not shown to the sink
  EXPECT_THAT(seen_.frames, ElementsAre(9));
}

TEST_F(Playback, refuses_what_cannot_be_played_and_stays_where_it_is) {
  ASSERT_EQ(ORB_set_frame(image_.get(), 3, 0, 0), 0);
  reports.clear();
  EXPECT_EQ(ORB_set_frame(image_.get(), 13, 0, 0), -16);
  EXPECT_EQ(ORB_set_frame(image_.get(), 0, 0, 0), -16);
  EXPECT_EQ(ORB_set_frame(image_.get(), (intptr_t{1} << 32) + 1, 0, 0), -16);
  EXPECT_EQ(ORB_playback_goto(image_.get(), 13, 0, 0), -16);
  EXPECT_EQ(params(-1, 0, 0), -16);
  EXPECT_EQ(params(NAN, 0, 0), -16);
  EXPECT_EQ(params(0, 13, 0), -16);
  EXPECT_EQ(params(0, 0, 13), -16);
  EXPECT_EQ(params(0, 7, 5), -16);
  bind(nullptr);
  EXPECT_EQ(play(), -16);
  EXPECT_EQ(reports.reports.size(), 10U) << reports.texts();
  EXPECT_EQ(shown(image_.get()).find('b'), 2U);
  EXPECT_TRUE(seen_.frames.empty());
  const Image still = open_gif(GifFile{1, 1, {{"b"}}});
  EXPECT_EQ(ORB_set_frame(still.get(), 1, 0, 0), -16);
  EXPECT_THAT(reports.texts(), HasSubstr("cannot set the current frame for this gif file"));
}

// ---- Writing

TEST_F(GifTest, a_writer_takes_frames_in_order_and_leaves_no_file_that_seems_whole) {
  const Table table = make_table(3);
  Wanted wanted = Wanted("gif", "out.gif", 5, 2).index(2, table);
  wanted.info.frame_count = 2;
  Image image = wanted.open();
  ASSERT_TRUE(image);
  EXPECT_EQ(write_image(*image, {{0, 1, 2, 3, 0, 0, 0, 0, 0, 0}}), ORB_E_HANDLE);  // entry 3 does not exist
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
