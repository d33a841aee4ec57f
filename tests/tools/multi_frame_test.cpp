// Files with several frames or images: all of them are checked, compared and converted.
#include "animation.h"
#include "tool_test.h"

namespace orb::testing {
namespace {

using MultiFrame = ToolTest;

TEST_F(MultiFrame, check_decodes_every_frame_and_names_those_that_cannot_be) {
  const struct {
    const char* frames;
    int status;
    const char* out;
  } rows[] = {{"0123", 0, "a.gif: ok, gif, 4 frames, 4 images, 4 rows, 1 channel, 4 bytes\n"},
              {"01x3", 4, "a.gif: failed, gif, error -7, after 3 rows, frames 3: "},
              {"x1x3x", 4, "a.gif: failed, gif, error -7, after 2 rows, frames 1-5x2: "},
              {"2", 0, "a.gif: ok, gif, 1 image, 1 row, "}};
  for (const auto& row : rows) {
    put_bytes("a.gif", gif(row.frames));
    expect("check a.gif", row.status, StartsWith(row.out));
  }
  EXPECT_EQ(json_of("check --json a.gif")["files"][0]["frames"], 0);
}

TEST_F(MultiFrame, diff_compares_every_frame_and_every_image) {
  put_bytes("same.gif", gif("0123"));
  put_bytes("third.gif", gif("0103"));
  put_bytes("short.gif", gif("012"));
  put_bytes("broken.gif", gif("01x3"));
  put_bytes("same.pair", "0");
  put_bytes("second.pair", "d");
  expect_all(
      {{"diff same.gif same.gif", 0,
        AllOf(HasSubstr("frame 1: match\n"), HasSubstr("match: 3 more\nMATCH\n"))},
       {"diff same.gif third.gif", 2,
        AllOf(HasSubstr("frame 3: failure\n  mean error    0.666666667\n"), HasSubstr("match: 2 more\n"))},
       {"diff same.gif short.gif", 2,
        AllOf(HasSubstr("4 frames against 3\n"), HasSubstr("match: 2 more\nFAILURE\n"))},
       {"diff same.gif broken.gif", 4},
       {"diff same.pair second.pair", 2,
        AllOf(HasSubstr("image 1: match\n"), HasSubstr("image 2: failure\n"), HasSubstr("column 1, row 0"))},
       {"diff same.pair same.pair", 0, HasSubstr("match: 1 more\nMATCH\n")}},
      kWithPair);
  const Json told = Json::parse(expect("diff --json same.gif third.gif", 2).out);
  EXPECT_EQ(told["result"], "failure");
  EXPECT_EQ(told["compared"], 4);
  ASSERT_EQ(told["others"].size(), 1U);
  EXPECT_EQ(told["others"][0]["picture"], "frame 3");
}

TEST_F(MultiFrame, an_animation_is_converted_with_all_its_frames_or_refused) {
  put_bytes("a.gif", gif("012312"));
  put_bytes("x.gif", gif("01x3"));
  expect_all({{"convert a.gif -o b.gif"},
              {"diff a.gif b.gif"},
              {"convert a.gif -o c.png", 5, _, HasSubstr("--drop frame-count")},
              {"convert a.gif -o c.png --drop frame-count,frame-rate"},
              {"convert x.gif -o d.gif", 4},
              {"convert samples/head-rgb-8.png -o e.gif", 5, _, HasSubstr("--read-set palette=indices")}});
  EXPECT_THAT(names(), ElementsAre("a.gif", "b.gif", "c.png", "x.gif"));
}

}  // namespace
}  // namespace orb::testing
