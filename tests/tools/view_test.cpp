// Pictures in the terminal: what is drawn, in which colours, and that no frame stops a play.
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>

#include "animation.h"
#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

constexpr const char* kHalf = "\xE2\x96\x80";

// A grey picture, its samples from the top down.
void write_grey(const std::string& path, const std::vector<std::vector<int>>& samples) {
  PipeFile file;
  file.width = static_cast<int32_t>(samples[0].size());
  file.height = static_cast<int32_t>(samples.size());
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.color = {nullptr, 1, ORB_C_INTEGER, 8}; };
  file.fill = [&](void* row, int32_t above_bottom, int32_t) {
    const std::vector<int>& values = samples[samples.size() - 1 - static_cast<size_t>(above_bottom)];
    for (size_t i = 0; i < values.size(); ++i)
      static_cast<uint8_t*>(row)[i] = static_cast<uint8_t>(values[i]);
  };
  file.write(path);
}

TEST(View, a_cell_is_two_pixels_and_a_pixel_the_average_of_its_place) {
  const Folder folder;
  write_grey(folder.path("a.pipe"), {{0, 255}, {255, 255}, {255, 0}});
  write_grey(folder.path("b.pipe"), {{10, 20, 30, 40, 50, 60, 70}, {10, 20, 30, 40, 50, 60, 71}});
  const struct {
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    std::string picture;
  } rows[] = {
      {{"a.pipe"}, {}, "=@\n@ \n"},
      {{"a.pipe", "--color=always"},
       {"COLORTERM=truecolor"},
       "\033[38;2;0;0;0;48;2;255;255;255m" + std::string(kHalf) + "\033[38;2;255;255;255;48;2;255;255;255m" +
           kHalf + "\033[0m\n\033[38;2;255;255;255m" + kHalf + "\033[38;2;0;0;0m" + kHalf + "\033[0m\n"},
      {{"a.pipe", "--color=always"},
       {"COLORTERM="},
       "\033[38;5;16;48;5;231m" + std::string(kHalf) + "\033[38;5;231;48;5;231m" + kHalf +
           "\033[0m\n\033[38;5;231m" + kHalf + "\033[38;5;16m" + kHalf + "\033[0m\n"},
      // 7 columns in 3: 2, 2 and 3 of them; two rows in one.
      {{"b.pipe", "--size", "3x1", "--color=always"},
       {"COLORTERM=24bit"},
       "\033[38;2;15;15;15m" + std::string(kHalf) + "\033[38;2;35;35;35m" + kHalf + "\033[38;2;60;60;60m" +
           kHalf + "\033[0m\n"},
  };
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"view", "-q"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome run = orb(folder, arguments, {"", row.environment});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, row.picture);
  }
}

TEST(View, colours_and_size_are_those_of_the_terminal) {
  const Folder folder;
  const struct {
    std::vector<std::string> flags;
    std::vector<std::string> environment;
    bool is_coloured;
  } rows[] = {{{}, {}, true},
              {{}, {"NO_COLOR=1"}, false},
              {{}, {"TERM=dumb"}, false},
              {{"--color=never"}, {}, false},
              {{"--color=always"}, {"NO_COLOR=1"}, true}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"view", sample("chelsea.png")};
    arguments.insert(arguments.end(), row.flags.begin(), row.flags.end());
    const Outcome run = orb(folder, arguments, {"", row.environment, false, true});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out.find('\033') != std::string::npos, row.is_coloured) << row.environment.size();
    // 451 x 300 in 40 x 12 characters, less two rows: 20 pixels high and 30 wide.
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 11) << run.out;
    EXPECT_EQ(run.out.find("\r\n") == 30U, !row.is_coloured) << run.out;
  }
}

TEST(View, names_cannot_steer_the_terminal_and_a_file_that_cannot_be_shown_stops_no_other) {
  const Folder folder;
  write_grey(folder.path("a\033]0;x\a.pipe"), {{0}});
  PipeFile file;
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.color = {nullptr, 1, ORB_C_FLOAT, 32}; };
  file.fill = [](void* row, int32_t, int32_t) { std::memset(row, 0, 28); };
  file.write(folder.path("float.pipe"));
  const Outcome run = orb(folder, {"view", "none.pipe", "float.pipe", "a\033]0;x\a.pipe"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, " \na\\x1b]0;x\\x07.pipe: 1 x 1\n");
  EXPECT_NE(run.err.find("float.pipe: cannot be shown"), std::string::npos) << run.err;
  EXPECT_EQ(orb(folder, {"view", "none.pipe"}).status, 3);
  for (const char* size : {"0x5", "5", "5x", "x5", "5x5x", "99999x5"}) {
    EXPECT_EQ(orb(folder, {"view", "float.pipe", "--size", size}).status, 2) << size;
  }
}

// Frames 1 to 4 of a sequence, of which 2 is missing and 3 broken.
void write_broken(const Folder& folder) {
  for (const char* name : {"a.1.pipe", "a.3.pipe", "a.4.pipe"}) write_grey(folder.path(name), {{255, 255}});
  put_bytes(folder.path("a.3.pipe"), bytes_of(folder.path("a.3.pipe")).substr(0, 200));
}

TEST(Play, a_missing_and_a_broken_frame_are_shown_as_such_and_stop_nothing) {
  const Folder folder;
  write_broken(folder);
  const Outcome run = orb(folder, {"play", "a.#.pipe"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out.rfind("@@\n1/4 a.1.pipe\n", 0), 0U) << run.out;
  EXPECT_NE(run.out.find("\n2/4 a.2.pipe: missing\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\n3/4 a.3.pipe: failed: "), std::string::npos) << run.out;
  const std::string end = "@@\n4/4 a.4.pipe\na.#.pipe: 2 shown, 1 missing (2), 1 failed (3)\n";
  EXPECT_EQ(run.out.substr(run.out.size() - std::min(run.out.size(), end.size())), end);
  const struct {
    std::vector<std::string> arguments;
    int status;
  } rows[] = {{{"a.#.pipe", "--frames", "4,1"}, 0},
              {{"a.#.pipe", "--frames", "3"}, 4},
              {{"b.#.pipe"}, 3},
              {{"none.gif"}, 3},
              {{"a.#.pipe", "--rate", "0"}, 2},
              {{"a.#.pipe", "--json"}, 2}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"play"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    EXPECT_EQ(orb(folder, arguments).status, row.status) << row.arguments.front();
  }
}

TEST(Play, frames_of_a_file_come_in_the_order_asked_for) {
  const Folder folder;
  put_bytes(folder.path("a.gif"), gif("03x1"));
  const struct {
    const char* frames;
    int status;
    const char* out;
  } rows[] = {{"1-2", 0, " \n1/2 a.gif, frame 1\n@\n2/2 a.gif, frame 2\na.gif: 2 shown\n"},
              {"4,2,5", 1, "-\n1/3 a.gif, frame 4\n@\n2/3 a.gif, frame 2\n"},
              {"2-4", 1, "@\n1/3 a.gif, frame 2\n"}};
  for (const auto& row : rows) {
    const Outcome run = orb(folder, {"play", "a.gif", "--frames", row.frames});
    EXPECT_EQ(run.status, row.status) << run.err;
    EXPECT_EQ(run.out.rfind(row.out, 0), 0U) << run.out;
  }
}

TEST(Play, an_interrupt_gives_the_terminal_its_cursor_back) {
  const Folder folder;
  put_bytes(folder.path("a.gif"), gif("0123"));
  for (const int signal_number : {SIGINT, SIGTERM}) {
    Running tool(folder, {"play", "a.gif", "--loop", "--rate", "1000"}, true);
    EXPECT_EQ(tool.hear("frame 4").rfind("\033[?25l", 0), 0U);
    EXPECT_EQ(tool.hear("frame 2").find("\033[?25h"), std::string::npos);
    EXPECT_EQ(tool.end_with(signal_number), 130);
    const std::string rest = tool.hear("\033[?25h");
    EXPECT_NE(rest.find("\033[?25h"), std::string::npos) << rest;
  }
}

}  // namespace
}  // namespace orb::testing
