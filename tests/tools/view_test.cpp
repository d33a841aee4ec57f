// Pictures in the terminal: what is drawn, in which colours, and that no frame stops a play.
#include <csignal>

#include "animation.h"
#include "tool_test.h"

namespace orb::testing {
namespace {

std::string cell(const std::string& colours) { return "\033[" + colours + "m\xE2\x96\x80"; }

TEST(View, a_cell_is_two_pixels_and_a_pixel_the_average_of_its_place) {
  grey({{0, 255}, {255, 255}, {255, 0}}).write("a.pipe");
  grey({{10, 20, 30, 40, 50, 60, 70}, {10, 20, 30, 40, 50, 60, 71}}).write("b.pipe");
  const std::string end = "\033[0m\n";
  const struct {
    const char* environment;
    Call call;
  } rows[] = {{"COLORTERM=", {"a.pipe", 0, "=@\n@ \n"}},
              {"COLORTERM=truecolor",
               {"a.pipe --color=always", 0,
                cell("38;2;0;0;0;48;2;255;255;255") + cell("38;2;255;255;255;48;2;255;255;255") + end +
                    cell("38;2;255;255;255") + cell("38;2;0;0;0") + end}},
              {"COLORTERM=",
               {"a.pipe --color=always", 0,
                cell("38;5;16;48;5;231") + cell("38;5;231;48;5;231") + end + cell("38;5;231") +
                    cell("38;5;16") + end}},
              // 7 columns in 3: 2, 2 and 3 of them; two rows in one.
              {"COLORTERM=24bit",
               {"b.pipe --color=always --size 3x1", 0,
                cell("38;2;15;15;15") + cell("38;2;35;35;35") + cell("38;2;60;60;60") + end}}};
  for (const auto& row : rows) {
    expect({"view -q " + row.call.command, 0, row.call.out}, {.environment = {row.environment}});
  }
}

TEST(View, colours_and_size_are_those_of_the_terminal) {
  const struct {
    const char* flags;
    const char* environment;
    bool is_coloured;
  } rows[] = {{"", "TERM=xterm", true},
              {"", "NO_COLOR=1", false},
              {"", "TERM=dumb", false},
              {"--color=always", "NO_COLOR=1", true}};
  for (const auto& row : rows) {
    const Outcome run = expect({std::string("view samples/chelsea.png ") + row.flags},
                               {.environment = {row.environment}, .terminal_for_output = true});
    EXPECT_EQ(run.out.find('\033') != std::string::npos, row.is_coloured) << row.environment;
    // 451 x 300 in 40 x 12 characters, less two rows: 20 pixels high and 30 wide.
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 11) << run.out;
    EXPECT_EQ(run.out.find("\r\n") == 30U, !row.is_coloured) << run.out;
  }
}

TEST(View, names_cannot_steer_the_terminal_and_a_file_that_cannot_be_shown_stops_no_other) {
  grey({{0}}).write("a\033]0;x\a.pipe");
  grey<float>({{0}}).write("float.pipe");
  expect_all({{"view none.pipe float.pipe a\033]0;x\a.pipe", 1, " \na\\x1b]0;x\\x07.pipe: 1 x 1\n",
               HasSubstr("float.pipe: cannot be shown")},
              {"view none.pipe", 3}});
  for (const std::string size : {"0x5", "5", "5x", "x5", "5x5x", "99999x5"}) {
    expect("view float.pipe --size " + size, 2);
  }
}

TEST(Play, a_missing_and_a_broken_frame_are_shown_as_such_and_stop_nothing) {
  for (const char* name : {"a.1.pipe", "a.3.pipe", "a.4.pipe"}) grey({{255, 255}}).write(name);
  put_bytes("a.3.pipe", bytes_of("a.3.pipe").substr(0, 200));
  expect_all({{"play a.#.pipe", 1,
               AllOf(StartsWith("@@\n1/4 a.1.pipe\n"), HasSubstr("\n2/4 a.2.pipe: missing\n"),
                     HasSubstr("\n3/4 a.3.pipe: failed: "),
                     EndsWith("@@\n4/4 a.4.pipe\na.#.pipe: 2 shown, 1 missing (2), 1 failed (3)\n"))},
              {"play a.#.pipe --frames 4,1", 0},
              {"play a.#.pipe --frames 3", 4},
              {"play b.#.pipe", 3},
              {"play none.gif", 3},
              {"play a.#.pipe --rate 0", 2},
              {"play a.#.pipe --json", 2}});
}

TEST(Play, frames_of_a_file_come_in_the_order_asked_for) {
  put_bytes("a.gif", gif("03x1"));
  expect_all(
      {{"play a.gif --frames 1-2", 0, " \n1/2 a.gif, frame 1\n@\n2/2 a.gif, frame 2\na.gif: 2 shown\n"},
       {"play a.gif --frames 4,2,5", 1, StartsWith("-\n1/3 a.gif, frame 4\n@\n2/3 a.gif, frame 2\n")},
       {"play a.gif --frames 2-4", 1, StartsWith("@\n1/3 a.gif, frame 2\n")}});
}

TEST(Play, an_interrupt_gives_the_terminal_its_cursor_back) {
  put_bytes("a.gif", gif("0123"));
  for (const int signal_number : {SIGINT, SIGTERM}) {
    Running tool("play a.gif --loop --rate 1000", true);
    EXPECT_THAT(tool.hear("frame 4"), StartsWith("\033[?25l"));
    EXPECT_THAT(tool.hear("frame 2"), Not(HasSubstr("\033[?25h")));
    EXPECT_EQ(tool.end_with(signal_number), 130);
    EXPECT_THAT(tool.hear("\033[?25h"), HasSubstr("\033[?25h"));
  }
}

}  // namespace
}  // namespace orb::testing
