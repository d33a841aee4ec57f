// What every verb has in common: options, exit statuses, messages on standard error.
#include <gtest/gtest.h>

#include "run_orb.h"

namespace orb::testing {
namespace {

constexpr const char* kVerbs[] = {"formats", "info",   "convert", "check",        "diff",      "view",
                                  "play",    "config", "curve",   "merge-fields", "completion"};

TEST(CommandLine, help_and_version_go_to_standard_output_and_end_with_0) {
  const Folder folder;
  std::vector<std::vector<std::string>> rows = {{"--help"}, {"-h"}, {"--version"}, {"-V"}};
  for (const char* verb : kVerbs) {
    for (const char* flag : {"-h", "--help", "-V", "--version"}) rows.push_back({verb, flag});
  }
  for (const auto& row : rows) {
    const Outcome run = orb(folder, row);
    EXPECT_EQ(run.status, 0) << row.front();
    EXPECT_NE(run.out, "") << row.front();
    EXPECT_EQ(run.err, "") << row.front();
  }
  EXPECT_EQ(orb(folder, {"-V"}).out, "orb 3.2.0\n");
}

TEST(CommandLine, a_command_line_that_makes_no_sense_ends_with_2_and_prints_no_result) {
  const Folder folder;
  const std::vector<std::vector<std::string>> rows = {
      {},
      {"frobnicate"},
      {"info"},
      {"info", "--frobnicate", "x.png"},
      {"convert"},
      {"convert", "a.png"},
      {"convert", sample("chelsea.png"), "b.png", "-o", "c.png"},
      {"completion"},
      {"completion", "tcsh"},
      {"formats", "--color=sometimes"},
      {"formats", "--progress=loud"},
      {"formats", "--limit", "buffer=much"},
      {"formats", "--limit", "buffers=1M"},
      {"formats", "--limit", "buffer=99999999999999999999"},
      {"formats", "--limit", "buffer=0"},
      {"convert", sample("chelsea.png"), "-o", "a.png", "--set", "nothing=1"},
      {"convert", sample("chelsea.png"), "-o", "a.png", "--set", "filter"},
      {"convert", sample("chelsea.png"), "-o", "a.png", "--set", "filter=strong"},
      {"convert", sample("chelsea.png"), "-o", "a.png", "--set", "compression=high"},
      {"convert", sample("chelsea.png"), "-o", "a.png", "--read-set", "compression"},
      {"convert", sample("chelsea.png"), "-o", "a.png", "--drop", "everything"},
      {"convert", sample("chelsea.png"), "-o", "a.png", "--drop", "color"},
      {"convert", sample("chelsea.png"), "-o", "a.mem"},
      {"convert", sample("chelsea.png"), "-o", "-", "--json"}};
  for (const auto& row : rows) {
    const Outcome run = orb(folder, row);
    std::string line;
    for (const std::string& word : row) line += " " + word;
    EXPECT_EQ(run.status, 2) << line;
    EXPECT_EQ(run.out, "") << line;
    EXPECT_EQ(run.err.rfind("orb: ", 0), 0U) << line << run.err;
  }
  EXPECT_TRUE(folder.names().empty());
}

TEST(CommandLine, an_unknown_setting_is_answered_with_those_there_are) {
  const Folder folder;
  const Outcome run = orb(folder, {"convert", sample("chelsea.png"), "-o", "a.png", "--set", "nothing=1"});
  EXPECT_NE(run.err.find("png has no setting \"nothing\"; it has palette, compression, filter"),
            std::string::npos)
      << run.err;
}

TEST(CommandLine, a_double_dash_ends_the_options_and_brackets_are_part_of_a_name) {
  const Folder folder;
  const std::string picture = bytes_of(sample("chelsea.png"));
  for (const char* name : {"-v", "--json", "[a,b]", "-"}) put_bytes(folder.path(name), picture);
  EXPECT_EQ(orb(folder, {"info", "--from", "png", "--", "-v", "--json"}).status, 0);
  EXPECT_EQ(orb(folder, {"info", "--from", "png", "[a,b]"}).status, 0);
  EXPECT_EQ(orb(folder, {"convert", "-o", "out.png", "--from", "png", "--", "-v"}).status, 0);
  // A dash is standard input even then, and a file of that name has a path.
  EXPECT_EQ(orb(folder, {"info", "--from", "png", "--", "-"}).status, 4);
  EXPECT_EQ(orb(folder, {"info", "--from", "png", "./-"}).status, 0);
}

TEST(CommandLine, the_verbosity_chooses_the_categories_that_are_shown) {
  const Folder folder;
  const auto messages = [&](const std::vector<std::string>& flags) {
    std::vector<std::string> arguments = {"convert", sample("chelsea.png"), "-f", "-o", "a.pipe"};
    arguments.insert(arguments.end(), flags.begin(), flags.end());
    return orb(folder, arguments).err;
  };
  const struct {
    std::vector<std::string> flags;
    bool warning, note, debug;
  } rows[] = {{{"-q"}, false, false, false},
              {{}, true, false, false},
              {{"-v"}, true, true, false},
              {{"-vv"}, true, true, true},
              {{"-v", "-v"}, true, true, true}};
  for (const auto& row : rows) {
    const std::string text = messages(row.flags);
    EXPECT_EQ(text.find("orb: warning: ") != std::string::npos, row.warning) << text;
    EXPECT_EQ(text.find("orb: note: rows: direct\n") != std::string::npos, row.note) << text;
    EXPECT_EQ(text.find("orb: debug: ") != std::string::npos, row.debug) << text;
  }
  EXPECT_NE(orb(folder, {"info", "-q", "missing.png"}).err.find("orb: error: "), std::string::npos);
}

TEST(CommandLine, colours_are_for_terminals_unless_NO_COLOR_or_a_flag_says_otherwise) {
  const Folder folder;
  const auto has_color = [&](const std::vector<std::string>& flags,
                             const std::vector<std::string>& environment, bool terminal) {
    std::vector<std::string> arguments = {"info", "missing.png"};
    arguments.insert(arguments.end(), flags.begin(), flags.end());
    const Outcome run = orb(folder, arguments, {"", environment, terminal});
    EXPECT_NE(run.err.find("missing.png"), std::string::npos);
    return run.err.find("\033[") != std::string::npos;
  };
  EXPECT_TRUE(has_color({}, {}, true));
  EXPECT_FALSE(has_color({}, {}, false));
  EXPECT_FALSE(has_color({}, {"NO_COLOR=1"}, true));
  EXPECT_TRUE(has_color({}, {"NO_COLOR="}, true));
  EXPECT_FALSE(has_color({}, {"TERM=dumb"}, true));
  EXPECT_TRUE(has_color({"--color=always"}, {"NO_COLOR=1"}, false));
  EXPECT_FALSE(has_color({"--color=never"}, {}, true));
}

TEST(CommandLine, names_from_strangers_cannot_steer_the_terminal) {
  const Folder folder;
  const Outcome run =
      orb(folder, {"info", "\033[2Jevil\n\xc2\x9b\xe2\x80\xae\xff.png", "gr\xc3\xbc\xc3\x9f.png"},
          {"", {}, true});
  EXPECT_NE(run.err.find("\\x1b[2Jevil\\n\\xc2\\x9b\\xe2\\x80\\xae\\xff.png"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("gr\xc3\xbc\xc3\x9f.png"), std::string::npos) << run.err;
}

TEST(CommandLine, a_name_of_100000_characters_is_an_error_like_any_other) {
  const Folder folder;
  const std::string name = std::string(100000, 'n') + ".png";
  EXPECT_EQ(orb(folder, {"info", name}).status, 4);
  EXPECT_EQ(orb(folder, {"convert", sample("chelsea.png"), "-o", name}).status, 4);
  EXPECT_EQ(orb(folder, {"convert", name, "-o", "a.png"}).status, 4);
  EXPECT_TRUE(folder.names().empty());
}

}  // namespace
}  // namespace orb::testing
