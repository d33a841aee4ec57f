// What check finds whole and what not.
#include <png.h>

#include "animation.h"
#include "tool_test.h"

namespace orb::testing {
namespace {

TEST(Check, no_cut_of_a_file_is_whole) {
  write_noise_png("a.png", 5, 4, 8, PNG_COLOR_TYPE_RGB_ALPHA);
  PipeFile().write("a.pipe");
  for (const std::string ending : {".png", ".pipe"}) {
    const std::string whole = bytes_of("a" + ending);
    std::string command = "check --json -q";
    for (size_t kept = 0; kept <= whole.size(); ++kept) {
      const std::string name = std::to_string(kept) + ending;
      put_bytes(name, whole.substr(0, kept));
      command += " " + name;
    }
    const Json files = Json::parse(expect(command, 1).out)["files"];
    ASSERT_EQ(files.size(), whole.size() + 1);
    for (size_t kept = 0; kept <= whole.size(); ++kept) {
      const bool is_whole = kept == whole.size();
      EXPECT_EQ(files[kept]["result"], is_whole ? "ok" : "failed") << files[kept];
      EXPECT_EQ(files[kept].value("code", 0) == 0, is_whole) << files[kept];
    }
  }
}

TEST(Check, one_line_a_file_and_the_exit_status_tell_which_are_whole) {
  PipeFile().write("a.pipe");
  const std::string whole = bytes_of("a.pipe");
  put_bytes("cut.pipe", whole.substr(0, whole.size() - 40));
  const std::string ok = "a.pipe: ok, pipe, 1 image, 5 rows, 3 channels, 105 bytes\n";
  const std::string cut = "cut.pipe: failed, pipe, error -18, after 3 rows: [^\n]+\n";
  const std::string missing = "none.pipe: failed, error -5: Cannot open file none.pipe; [^\n]+\n";
  expect_all({{"check a.pipe", 0, ok},
              {"check -q a.pipe", 0, ""},
              {"check a.pipe cut.pipe none.pipe a.pipe", 1, MatchesRegex(ok + cut + missing + ok)},
              {"check -q cut.pipe a.pipe", 1, MatchesRegex(cut)},
              {"check none.pipe", 3, MatchesRegex(missing)},
              {"check none.pipe cut.pipe", 4, MatchesRegex(missing + cut)},
              {"check --from png a.pipe", 4, MatchesRegex("a.pipe: failed, error -[^\n]+\n")}});
  EXPECT_THAT(names(), ElementsAre("a.pipe", "cut.pipe"));
}

TEST(Check, every_frame_and_image_of_a_file_and_its_close_are_looked_at) {
  const struct {
    const char* name;
    std::string content;
    int status;
    const char* out;
    const char* err = "";
  } rows[] = {{"a.pair", "0", 0, "ok, pair, 2 images, 6 rows, 1 channel, 12 bytes\n"},
              {"a.pair", "1", 4, "failed, pair, error -7, after 2 rows: ", "it is broken"},
              {"a.pair", "2", 4, "failed, pair, error -7, after 5 rows: ", "it is broken"},
              {"a.pair", "c", 4, "failed, pair, error -18, after 6 rows: ", "cannot be read to its end"},
              {"a.pair", "f", 0, "ok, pair, 2 images", "holds 9 frames"},
              {"a.gif", gif("0123"), 0, "ok, gif, 4 frames, 4 images, 4 rows, 1 channel, 4 bytes\n"},
              {"a.gif", gif("x1x3x"), 4, "failed, gif, error -7, after 2 rows, frames 1-5x2: "},
              {"a.gif", gif("2"), 0, "ok, gif, 1 image, 1 row, "}};
  for (const auto& row : rows) {
    put_bytes(row.name, row.content);
    expect({std::string("check ") + row.name, row.status,
            StartsWith(row.name + (": " + std::string(row.out))), HasSubstr(row.err)},
           kWithPair);
  }
  EXPECT_EQ(json_of("check --json a.gif")["files"][0]["frames"], 0);
}

}  // namespace
}  // namespace orb::testing
