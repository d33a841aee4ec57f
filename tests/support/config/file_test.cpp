// Where the configuration file is found, how its lines fall into words, and files that nobody wrote: the databases have
// to come through those, under the sanitizers above all.
#include <string>
#include <vector>

#include "orbbase/clr.h"
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
              {"a\001b\177c", "a|b|c|"},
              {"\001b", "|b|"},  // another character ends a word even where none had begun
              {"x\303\244y", "x||y|"},
              {"'x\303\244y'", "x\303\244y|"},
              // Seventeen at most.
              {"a b c d e f g h i j k l m n o p q r s", "a|b|c|d|e|f|g|h|i|j|k|l|m|n|o|p|q|"},
              {"a b c d e f g h i j k l m n o p 'q r", "a|b|c|d|e|f|g|h|i|j|k|l|m|n|o|p|q r|"}};
  for (const auto& row : rows) EXPECT_EQ(words_of(row.line), row.words) << row.line;
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
  std::filesystem::create_directories(folder() / "none" / ".orbrc");  // a folder is passed over
  reset_databases();
  environment.set("HOME", (folder() / "none").string());
  environment.set("QV_ROOT", root.string());
  EXPECT_STREQ(orb::fmt::configured_key(), "root");
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

TEST_F(ConfigurationFile, is_read_once_for_all_databases_until_one_of_them_ends) {
  configure("fmt__frame_rate 24\n");
  int first = 0, second = 0;
  EXPECT_EQ(FMT_init(&first), 0);
  write(folder() / ".orbrc", "fb__default pal\nfmt__frame_rate 25\n");
  EXPECT_EQ(orb::fb::init(&second), 0);
  EXPECT_STREQ(orb::fb::default_name(), "full");
  EXPECT_EQ(orb::config::catalogue(), &first) << "of the start that read the file";
  EXPECT_EQ(orb::fb::exit(), 0);
  EXPECT_EQ(orb::fb::init(&second), 0);
  EXPECT_STREQ(orb::fb::default_name(), "pal");
  EXPECT_EQ(orb::config::catalogue(), &second);
  EXPECT_EQ(FMT_def_frame_rate(), 24);  // this database has not ended
  FMT_exit();
  FMT_def_gamma();  // by itself, without one
  EXPECT_EQ(orb::config::catalogue(), nullptr);
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

class HostileConfiguration : public ConfigurationTest {
 protected:
  void ask_everything() {
    EXPECT_GT(FMT_def_frame_rate(), 0);
    EXPECT_NE(FMT_find(FMT_def_aspect()), nullptr);
    EXPECT_NE(orb::fb::default_name(), nullptr);
    for (const int32_t n : {2, 3, 9, 1024}) {
      const CLR_BINS* const bins = CLR_find(n);
      ASSERT_TRUE(!bins || bins->count == n);
      for (int32_t i = 0; bins && i < n; ++i) sum_ += bins->wavelengths[i] + bins->weights[3 * i + 2];
    }
    orb::config::ListedSetting listed;
    for (int32_t i = 0; i < orb::fmt::listed_count(); ++i) EXPECT_TRUE(orb::fmt::list(i, &listed));
    for (int32_t i = 0; i < orb::fb::listed_count(); ++i) EXPECT_TRUE(orb::fb::list(i, &listed));
    for (int32_t i = 0; i < orb::clr::listed_count(); ++i) EXPECT_TRUE(orb::clr::list(i, &listed));
  }

  float sum_ = 0;  // reads the derived numbers, so that a wrong address shows
};

std::string repeated(size_t times, const std::string& text) {
  std::string all;
  for (; times > 0; --times) all += text;
  return all;
}

TEST_F(HostileConfiguration, of_too_much_of_one_thing_is_harmless) {
  const std::string rows[] = {
      repeated(100'000, "x "),  // words on one line
      repeated(100'000, "' "),
      repeated(100'000, "\033"),
      repeated(3, "fmt__chan_default " + std::string(100'000, 'c') + "\n"),
      repeated(5'000, "fmt__aspect_table\nntsc_640 1 1 1\nend_aspect_table\nframebuffer a\n"),
      "clr__sample_bins 1024 " + repeated(1025, "1e99 \\\n"),
      "clr__sample_bins 2 " + repeated(10'000, "\\\n"),
      repeated(5'000, "clr__sample_bins 1024 uniform\n"),
      "clr__tristimulus\nclr__tristimulus\nend__tristimulus\n",  // not once, and then of nothing
      "clr__tristimulus\n500 1 1 1\n501 1 1 1\n",
      "end__tristimulus\nclr__sample_bins 3 uniform\n",
      "clr__tristimulus\n" + repeated(15'000, "500 1 1 1\n") + "end__tristimulus\n",
      "clr__tristimulus\n" + repeated(7'000, "500 1e38 1e38 1e38\n501 -1e38 -1e38 -1e38\n") +
          "end__tristimulus\n",
      "clr__min_wavelength 1e-38\nclr__max_wavelength 1e38\nclr__tristimulus_tab_res 65536\n"
      "clr__tristimulus\n1e37 1e38 1e-38 1\n1e38 1 1 1\nend__tristimulus\nclr__sample_bins 9 uniform\n",
      "clr__sample_bins 3 -1e99 1e99 -1e99 1e99\n"};
  for (const std::string& text : rows) {
    configure(text);
    ask_everything();
  }
}

// Each name is looked for among all before it: without the bound on lines such a file would stop the start.
TEST_F(HostileConfiguration, of_names_that_all_differ_is_read_to_a_bound) {
  std::string text = "fmt__aspect_table\n";
  for (int i = 0; i < 1'000'000; ++i) text += "a" + std::to_string(i) + " 1 1 1\n";
  configure(text);
  EXPECT_NE(FMT_find("a19998"), nullptr);
  EXPECT_EQ(FMT_find("a19999"), nullptr);
  EXPECT_EQ(recorder.texts(), path() + ": only the first 20000 lines are read");
}

}  // namespace
