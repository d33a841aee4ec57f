// orb ls and orb frames, as a user meets them.
#include "tool_test.h"

namespace orb::testing {
namespace {

// Frames 1001 to 1012 of a shot without 1004 and 1008, another shot one folder down, and what else lies about.
class Ls : public ::testing::Test {
 protected:
  Ls() {
    std::filesystem::create_directories("sub/empty");
    std::filesystem::create_directory_symlink("..", "sub/up");
    for (int frame = 1001; frame <= 1012; ++frame) {
      if (frame != 1004 && frame != 1008) put_bytes("a." + std::to_string(frame) + ".png", "");
    }
    for (const char* name : {"sub/b_9.png", "sub/b_10.png", "evil\n\x1b[31m\xff.txt", ".hidden"})
      put_bytes(name, "");
  }
};

const std::string kShot = "a.[1001-1003,1005-1007,1009-1012]####.png";

TEST_F(Ls, shows_sequences_with_their_gaps_and_says_what_is_not_there) {
  const std::string shot = kShot + "\n";
  const std::string rest = "evil\\n\\x1b[31m\\xff.txt\n";
  expect_all(
      {{"ls", 0, shot + rest + "sub/\n", ""},
       {"ls --missing .", 0, "./" + shot + "  missing 2 frames: 1004,1008\n./" + rest + "./sub/\n", ""},
       {"ls -R", 0, shot + rest + "sub/b_[9-10]#.png\nsub/up\n", ""},
       {"ls a.%04d.png sub/b_9.png", 0, shot + "sub/b_9.png\n", ""},
       {"ls --missing a.[1002-1005,1099]####.png", 0,
        "a.[1002-1003,1005]####.png\n  missing 2 frames: 1004,1099\n", ""},
       {"ls a.#####.png", 3, "", HasSubstr("no frame of a.#####.png; nearest sequence: " + kShot)},
       {"ls a.[1-9]####.png", 3, "", HasSubstr("no frame of a.[1-9]####.png; there are: " + kShot)},
       {"ls absent.png", 3, "", HasSubstr("No such file")},
       {"ls a.####.png b.####.png", 1, shot, HasSubstr("no frame of b.####.png")},
       {"ls sub/empty", 3, "", HasSubstr("sub/empty: nothing to list")},
       {"ls sub/empty/x.####.png", 3, "", HasSubstr("sub/empty/ holds no sequence")},
       {"ls --literal a.####.png", 3, "", HasSubstr("Cannot open file a.####.png")},
       {"ls a.####.####.png", 2, "", HasSubstr("two fields")},
       {"ls a.[0-2147483647]####.png", 2, "", HasSubstr("2147483648 frames")},
       {"ls --pad 0 a.####.png", 2, "", HasSubstr("--pad")},
       {"ls " + std::string(300, 'x') + ".####.png", 3, "", HasSubstr("nearest sequence")}});
}

TEST_F(Ls, gives_the_parts_of_each_name_as_json) {
  const Json list = Json::parse(expect("ls --json . b.####.png", 1).out);
  ASSERT_EQ(list["entries"].size(), 3U);
  EXPECT_EQ(list["entries"][0], (Json{{"kind", "sequence"},
                                      {"name", "./" + kShot},
                                      {"folder", "./"},
                                      {"prefix", "a."},
                                      {"suffix", ".png"},
                                      {"width", 4},
                                      {"first", 1001},
                                      {"last", 1012},
                                      {"frames", {{"count", 10}, {"range", "1001-1003,1005-1007,1009-1012"}}},
                                      {"missing", {{"count", 2}, {"range", "1004,1008"}}}}));
  EXPECT_EQ(list["entries"][2], (Json{{"kind", "folder"}, {"name", "./sub"}}));
  EXPECT_EQ(list["failures"][0]["name"], "b.####.png");
}

TEST_F(Ls, frames_come_in_chunks_that_hold_every_frame_once) {
  put_bytes("take#2.png", "");
  expect_all(
      {{"frames a.####.png", 0, "1001-1003,1005-1007,1009-1012\n", ""},
       {"frames a.####.png --chunk 4", 0, "1001-1003,1005\n1006-1007,1009-1010\n1011-1012\n", ""},
       {"frames a.####.png --missing", 0, "1004,1008\n", ""},
       {"frames a.####.png --frames 1010-1014 --missing --chunk 1", 0, "1013\n1014\n", ""},
       {"frames new.####.png --frames 1-3 --missing", 0, "1-3\n", ""},
       {"frames a.####.png --frames 1003-1001", 0, "1003-1001\n", ""},
       {"frames a.[1001-1003]####.png --frames 1002-1009", 0, "1002-1003\n", ""},
       {"frames a.####.png --frames=1003-1005", 1, "1003,1005\n", HasSubstr("1 frame not there: 1004")},
       {"frames a.####.png --frames 1-5", 3, "", HasSubstr("no frame of the range is there")},
       {"frames a.####.png --frames 1001 --missing", 3, "", HasSubstr("no frame is missing")},
       {"frames --frames -5--1 --chunk 3", 0, "-5--3\n-2--1\n", ""},
       {"frames b.####.png", 3, "", HasSubstr("nearest sequence: " + kShot)},
       {"frames take#2.png", 3, "",
        HasSubstr("no frame of take#2.png, which is a file of that name; --literal")},
       {"frames a.png", 2, "", HasSubstr("no field")},
       {"frames --missing", 2, "", HasSubstr("a pattern is needed")},
       {"frames a.####.png --chunk 0", 2, "", HasSubstr("--chunk")}});
  const Json chunks = json_of("frames a.#.png --chunk=6 --json");
  EXPECT_EQ(chunks["pattern"], "a.####.png");
  EXPECT_EQ(chunks["chunks"][1],
            (Json{{"range", "1009-1012"}, {"first", 1009}, {"last", 1012}, {"count", 4}}));
}

}  // namespace
}  // namespace orb::testing
