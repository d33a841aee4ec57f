// Frames one after the other, and a file that is opened again.
#include <gmock/gmock.h>

#include <cmath>

#include "gif_file.h"

namespace orb::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Twelve frames, each of which moves a dot and shows for as many hundredths as its number.
GifFile twelve() {
  GifFile file = {12, 1, {}};
  for (int i = 0; i < 12; ++i) {
    std::string picture(12, 'a');
    picture[static_cast<size_t>(i)] = 'b';
    file.frames.push_back({.picture = i == 0 ? picture : picture.substr(i - 1, 2), .delay = i + 1});
    if (i > 0) file.frames.back().left = i - 1;
  }
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

TEST_F(Playback, gives_every_frame_of_the_file_to_the_sink) {
  ASSERT_EQ(image_->info.frame_count, 12);
  EXPECT_EQ(play(), 0);
  EXPECT_THAT(seen_.frames, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
  EXPECT_THAT(seen_.dots, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
  for (size_t i = 0; i < 12; ++i) EXPECT_DOUBLE_EQ(seen_.seconds[i], static_cast<double>(i + 1) / 100) << i;
}

TEST_F(Playback, keeps_to_its_parameters_until_it_is_stopped) {
  EXPECT_EQ(params(4, 5, 7), 0);
  EXPECT_EQ(play(), 0);
  EXPECT_THAT(seen_.frames, ElementsAre(5, 6, 7));
  EXPECT_DOUBLE_EQ(seen_.seconds[0], 0.25);
  seen_ = {.fails_at = 12};
  EXPECT_EQ(params(0, 11, 0, true), 0);
  EXPECT_EQ(play(), 7);  // the sink's result, in the second round
  EXPECT_THAT(seen_.frames, ElementsAre(11, 12, 11, 12));
  seen_ = {.stops_at = 2};
  EXPECT_EQ(params(0, 0, 3, true), 0);
  EXPECT_EQ(play(), 0);
  EXPECT_THAT(seen_.frames, ElementsAre(1, 2));
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
  const Image still = open_gif(GifFile{1, 1, {{.picture = "b"}}});
  EXPECT_EQ(ORB_set_frame(still.get(), 1, 0, 0), -16);
  EXPECT_THAT(reports.texts(), HasSubstr("cannot set the current frame for this gif file"));
}

TEST_F(Playback, finds_a_file_that_was_closed_at_the_frame_where_it_was_left) {
  ORB_multiframe_set(1, 15);
  const std::string path = image_->info.handle;
  image_ = open_read("gif", path);
  const ORB_IMAGE* const kept = image_.get();
  ASSERT_EQ(ORB_set_frame(image_.get(), 5, 0, 0), 0);
  image_.reset();
  image_ = open_read("gif", path);
  EXPECT_EQ(image_.get(), kept);
  EXPECT_EQ(shown(image_.get()).find('b'), 4U);
  const Image indices = open_read("gif", path, kAsIndices);
  EXPECT_NE(indices.get(), kept);  // other settings, another handle
  EXPECT_EQ(shown(indices.get()).find('b'), 0U);
  image_.reset();
  save(path, GifFile{1, 1, {{.picture = "c"}}}.bytes() + " and more");
  image_ = open_read("gif", path);
  EXPECT_EQ(shown(image_.get()), "c");
}

}  // namespace
}  // namespace orb::testing
