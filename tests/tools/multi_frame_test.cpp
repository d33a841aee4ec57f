// Files with several frames or images: all of them are checked, compared and converted.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "animation.h"
#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

using Json = nlohmann::json;

TEST(MultiFrame, check_decodes_every_frame_and_names_those_that_cannot_be) {
  const Folder folder;
  const struct {
    const char* frames;
    int status;
    const char* out;
  } rows[] = {{"0123", 0, "a.gif: ok, gif, 4 frames, 4 images, 4 rows, 1 channel, 4 bytes\n"},
              {"01x3", 4, "a.gif: failed, gif, error -7, after 3 rows, frames 3: "},
              {"x1x3x", 4, "a.gif: failed, gif, error -7, after 2 rows, frames 1-5x2: "},
              {"2", 0, "a.gif: ok, gif, 1 image, 1 row, "}};
  for (const auto& row : rows) {
    put_bytes(folder.path("a.gif"), gif(row.frames));
    const Outcome run = orb(folder, {"check", "a.gif"});
    EXPECT_EQ(run.status, row.status) << run.err;
    EXPECT_EQ(run.out.rfind(row.out, 0), 0U) << run.out;
  }
  const Json told = Json::parse(orb(folder, {"check", "--json", "a.gif"}).out)["files"][0];
  EXPECT_EQ(told["frames"], 0);
}

TEST(MultiFrame, diff_compares_every_frame_and_every_image) {
  const Folder folder;
  put_bytes(folder.path("same.gif"), gif("0123"));
  put_bytes(folder.path("third.gif"), gif("0103"));
  put_bytes(folder.path("short.gif"), gif("012"));
  put_bytes(folder.path("broken.gif"), gif("01x3"));
  put_bytes(folder.path("same.pair"), "0");
  put_bytes(folder.path("second.pair"), "d");
  const struct {
    const char *a, *b;
    int status;
    std::vector<const char*> texts;
  } rows[] = {
      {"same.gif", "same.gif", 0, {"frame 1: match\n", "match: 3 more\nMATCH\n"}},
      {"same.gif", "third.gif", 2, {"frame 3: failure\n  mean error    0.666666667\n", "match: 2 more\n"}},
      {"same.gif", "short.gif", 2, {"4 frames against 3\n", "match: 2 more\nFAILURE\n"}},
      {"same.gif", "broken.gif", 4, {}},
      {"same.pair", "second.pair", 2, {"image 1: match\n", "image 2: failure\n", "column 1, row 0"}},
      {"same.pair", "same.pair", 0, {"match: 1 more\nMATCH\n"}}};
  for (const auto& row : rows) {
    const Outcome run =
        orb(folder, {"diff", row.a, row.b}, {"", {std::string("QV_ORB_PLUGIN_PATH=") + ORB_PAIR_FOLDER}});
    EXPECT_EQ(run.status, row.status) << row.b << run.err;
    for (const char* text : row.texts) EXPECT_NE(run.out.find(text), std::string::npos) << text << run.out;
  }
  const Json told = Json::parse(orb(folder, {"diff", "--json", "same.gif", "third.gif"}).out);
  EXPECT_EQ(told["result"], "failure");
  EXPECT_EQ(told["compared"], 4);
  ASSERT_EQ(told["others"].size(), 1U);
  EXPECT_EQ(told["others"][0]["picture"], "frame 3");
}

TEST(MultiFrame, an_animation_is_converted_with_all_its_frames_or_refused) {
  const Folder folder;
  put_bytes(folder.path("a.gif"), gif("012312"));
  ASSERT_EQ(orb(folder, {"convert", "a.gif", "-o", "b.gif"}).status, 0);
  EXPECT_EQ(orb(folder, {"diff", "a.gif", "b.gif"}).status, 0);
  const Outcome refused = orb(folder, {"convert", "a.gif", "-o", "c.png"});
  EXPECT_EQ(refused.status, 5);
  EXPECT_NE(refused.err.find("--drop frame-count"), std::string::npos) << refused.err;
  EXPECT_EQ(orb(folder, {"convert", "a.gif", "-o", "c.png", "--drop", "frame-count,frame-rate"}).status, 0);
  put_bytes(folder.path("x.gif"), gif("01x3"));
  EXPECT_EQ(orb(folder, {"convert", "x.gif", "-o", "d.gif"}).status, 4);
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.gif", "b.gif", "c.png", "x.gif"}));
  const Outcome colours = orb(folder, {"convert", sample("head-rgb-8.png"), "-o", "e.gif"});
  EXPECT_EQ(colours.status, 5);
  EXPECT_NE(colours.err.find("--read-set palette=indices"), std::string::npos) << colours.err;
}

}  // namespace
}  // namespace orb::testing
