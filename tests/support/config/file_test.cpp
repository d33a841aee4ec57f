// Where the configuration file is found, and how its lines fall into words.
#include <string>
#include <vector>

#include "orbbase/support/config/tokens.h"
#include "tests/support/config/configuration.h"

namespace {

using orb::config::next_line;
using orb::testing::ConfigurationTest;

class ConfigurationFile : public ConfigurationTest {};

std::string words_of(const std::string& line) {
  std::string text = line;
  char* tokens[orb::config::kMostTokens + 1];
  const int32_t count = orb::config::split_tokens(text.data(), tokens);
  std::string words;
  for (int32_t i = 0; i < count; ++i) words += std::string(tokens[i]) + "|";
  EXPECT_EQ(tokens[count], nullptr);
  return words;
}

TEST(Words, are_runs_of_printable_characters_or_quoted_text) {
  const struct {
    std::string line, words;
  } rows[] = {{"", ""},
              {" \t\r\n", ""},
              {"a bc\td\n", "a|bc|d|"},
              {"name 'my buffer' \"x y\" \033z w\033\n", "name|my buffer|x y|z w|"},
              {"'it\"s' \"it's\"", "it\"s|it's|"},
              {"''", "|"},
              {"'", "|"},
              {"a 'not closed\n", "a|not closed\n|"},
              {"a'b c'd", "a'b|c'd|"},  // a quote counts only where a word begins
              {"'a'b", "a|b|"},
              {"a\001b", "a|b|"},
              {"\001b", "|b|"},  // another character ends a word even where none had begun
              {"x\303\244y", "x||y|"},
              {"'x\303\244y'", "x\303\244y|"}};
  for (const auto& row : rows) EXPECT_EQ(words_of(row.line), row.words) << row.line;
}

TEST(Words, of_a_line_are_seventeen_at_most) {
  const std::string letters = "a b c d e f g h i j k l m n o p q r s";
  EXPECT_EQ(words_of(letters), "a|b|c|d|e|f|g|h|i|j|k|l|m|n|o|p|q|");
  EXPECT_EQ(words_of("a b c d e f g h i j k l m n o p 'q r"), "a|b|c|d|e|f|g|h|i|j|k|l|m|n|o|p|q r|");
}

TEST_F(ConfigurationFile, is_the_first_that_opens_of_home_and_root) {
  const auto home = folder() / "home";
  const auto root = folder() / "root";
  write(home / ".orbrc", "fmt__key_default home\n");
  write(root / "userconfig" / ".orbrc", "fmt__key_default root\n");
  const struct {
    const char *home, *root, *key;
  } rows[] = {{"home", "root", "home"},  {"none", "root", "root"}, {nullptr, "root", "root"},
              {"home", nullptr, "home"}, {"none", "none", "rla"},  {nullptr, nullptr, "rla"}};
  for (const auto& row : rows) {
    reset_databases();
    row.home ? environment.set("HOME", (folder() / row.home).string()) : environment.unset("HOME");
    row.root ? environment.set("QV_ROOT", (folder() / row.root).string()) : environment.unset("QV_ROOT");
    EXPECT_STREQ(orb::fmt::configured_key(), row.key);
  }
  EXPECT_STREQ(orb::config::path(), "/usr/zt//userconfig/.orbrc");
  EXPECT_TRUE(recorder.reports.empty()) << recorder.texts();
}

TEST_F(ConfigurationFile, continues_a_line_of_more_than_254_characters_as_a_further_line) {
  const struct {
    size_t length;  // without the end of the line; the last characters are the setting
    int32_t frame_rate;
    std::vector<int> wrong_lines;                 // the last of them stands directly behind
  } rows[] = {{253, 24, {2}},    {254, 24, {3}},  // the end of the line is a line of its own
              {255, 2, {3}},                      // cut within the number
              {256, 30, {1, 3}},                  // and before it
              {262, 30, {3}},                     // within the keyword, and neither half is one
              {508, 24, {4}},    {509, 2, {4}}};
  for (const auto& row : rows) {
    configure(std::string(row.length - 18, ' ') + "fmt__frame_rate 24\nfmt__frame_rate 1 2\n");
    EXPECT_EQ(FMT_def_frame_rate(), row.frame_rate) << row.length;
    std::string expected;
    for (const int line : row.wrong_lines) expected += (expected.empty() ? "" : "\n") + syntax_error(line);
    EXPECT_EQ(recorder.texts(), expected) << row.length;
  }
}

TEST_F(ConfigurationFile, keeps_the_catalogue_handle_of_the_start_that_read_it) {
  int first = 0, second = 0;
  EXPECT_EQ(FMT_init(&first), 0);
  EXPECT_EQ(orb::fb::init(&second), 0);
  EXPECT_EQ(orb::config::catalogue(), &first);
  orb::fb::exit();  // gives the file back
  EXPECT_EQ(orb::fb::init(&second), 0);
  EXPECT_EQ(orb::config::catalogue(), &second);
  FMT_exit();
  FMT_def_gamma();  // by itself, without one
  EXPECT_EQ(orb::config::catalogue(), nullptr);
}

TEST_F(ConfigurationFile, is_read_once_for_all_databases_until_one_of_them_ends) {
  configure("fmt__frame_rate 24\n");
  EXPECT_EQ(FMT_init(nullptr), 0);
  write(folder() / ".orbrc", "fb__default pal\nfmt__frame_rate 25\n");
  EXPECT_STREQ(orb::fb::default_name(), "full");
  EXPECT_EQ(orb::fb::exit(), 0);
  EXPECT_STREQ(orb::fb::default_name(), "pal");
  EXPECT_EQ(FMT_def_frame_rate(), 24);  // this database has not ended
}

TEST_F(ConfigurationFile, may_be_empty_unterminated_or_hold_zeros) {
  const struct {
    std::string text;
    int32_t frame_rate;
  } rows[] = {{"", 30},
              {"fmt__frame_rate 24", 24},
              {"fmt__frame_rate 24\r\n", 24},
              {std::string("fmt__frame_rate 24\0 25\nfmt__gamma_default 1", 43), 24},
              {std::string(1000, '\0'), 30}};
  for (const auto& row : rows) {
    configure(row.text);
    EXPECT_EQ(FMT_def_frame_rate(), row.frame_rate);
    EXPECT_TRUE(recorder.reports.empty()) << recorder.texts();
  }
}

TEST_F(ConfigurationFile, that_is_a_folder_is_passed_over) {
  std::filesystem::create_directory(folder() / ".orbrc");
  environment.set("QV_ROOT", folder().string());
  write(folder() / "userconfig" / ".orbrc", "fmt__frame_rate 24\n");
  EXPECT_EQ(FMT_def_frame_rate(), 24);
}

}  // namespace
