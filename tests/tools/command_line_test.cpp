// What every verb has in common: options, exit statuses, messages on standard error.
#include "tool_test.h"

namespace orb::testing {
namespace {

TEST(CommandLine, help_and_version_go_to_standard_output_and_end_with_0) {
  for (const std::string verb : {"", "formats", "info", "convert", "check", "diff", "view", "play", "config",
                                 "curve", "merge-fields", "completion"}) {
    for (const char* flag : {" -h", " --help", " -V", " --version"}) expect(verb + flag, 0, Not(""), "");
  }
  expect("-V", 0, "orb 3.2.0\n");
}

TEST(CommandLine, one_that_makes_no_sense_ends_with_2_and_prints_no_result) {
  const std::string convert = "convert samples/chelsea.png -o ";
  for (const char* command :
       {"", "frobnicate", "info", "info --frobnicate x.png", "convert", "convert a.png", "completion",
        "completion tcsh", "formats --color=sometimes", "formats --progress=loud",
        "formats --limit buffer=much", "formats --limit buffers=1M",
        "formats --limit buffer=99999999999999999999", "formats --limit buffer=0"}) {
    expect(command, 2, "", StartsWith("orb: "));
  }
  expect("frobnicate a.png -o b.png", 2, "", HasSubstr("subcommand is required, not \"frobnicate\";"));
  for (const char* rest : {"c.png b.png", "a.png --set filter", "a.png --set filter=strong",
                           "a.png --set compression=high", "a.png --read-set compression",
                           "a.png --drop everything", "a.png --drop color", "a.mem", "- --json"}) {
    expect(convert + rest, 2, "", StartsWith("orb: "));
  }
  expect(convert + "a.png --set nothing=1", 2, "",
         HasSubstr("png has no setting \"nothing\"; it has palette, compression, filter"));
  EXPECT_THAT(names(), ElementsAre());
}

TEST(CommandLine, a_double_dash_ends_the_options_and_brackets_are_part_of_a_name) {
  for (const char* name : {"-v", "--json", "[a,b]", "-"}) put_bytes(name, bytes_of(sample("chelsea.png")));
  expect_all({{"info --from png -- -v --json"},
              {"info --from png [a,b]"},
              {"convert -o out.png --from png -- -v"},
              // A dash is standard input even then, and a file of that name has a path.
              {"info --from png -- -", 4},
              {"info --from png ./-"}});
}

TEST(CommandLine, the_verbosity_chooses_the_categories_that_are_shown) {
  const Text warning = HasSubstr("orb: warning: "), note = HasSubstr("orb: note: rows: direct\n"),
             debug = HasSubstr("orb: debug: ");
  const std::string convert = "convert samples/chelsea.png -f -o a.pipe";
  expect_all({{convert + " -q", 0, _, ""},
              {convert, 0, _, AllOf(warning, Not(note), Not(debug))},
              {convert + " -v", 0, _, AllOf(warning, note, Not(debug))},
              {convert + " -vv", 0, _, AllOf(warning, note, debug)},
              {convert + " -v -v", 0, _, AllOf(warning, note, debug)},
              {"info -q missing.png", 3, _, HasSubstr("orb: error: ")}});
}

TEST(CommandLine, colours_are_for_terminals_unless_NO_COLOR_or_a_flag_says_otherwise) {
  const struct {
    const char* flags;
    const char* environment;
    bool is_terminal;
    bool is_coloured;
  } rows[] = {{"", "TERM=xterm", true, true},
              {"", "TERM=xterm", false, false},
              {"", "NO_COLOR=1", true, false},
              {"", "NO_COLOR=", true, true},
              {"", "TERM=dumb", true, false},
              {"--color=always", "NO_COLOR=1", false, true},
              {"--color=never", "TERM=xterm", true, false}};
  for (const auto& row : rows) {
    const Outcome run =
        expect({std::string("info missing.png ") + row.flags, 3, "", HasSubstr("missing.png")},
               {.environment = {row.environment}, .terminal_for_errors = row.is_terminal});
    EXPECT_EQ(run.err.find("\033[") != std::string::npos, row.is_coloured) << row.environment;
  }
}

TEST(CommandLine, names_from_strangers_cannot_steer_the_terminal) {
  expect({"info '\033[2Jevil\n\xc2\x9b\xe2\x80\xae\xff.png' gr\xc3\xbc\xc3\x9f.png", 3, _,
          AllOf(HasSubstr("\\x1b[2Jevil\\n\\xc2\\x9b\\xe2\\x80\\xae\\xff.png"),
                HasSubstr("gr\xc3\xbc\xc3\x9f.png"))},
         {.terminal_for_errors = true});
}

}  // namespace
}  // namespace orb::testing
