// Configuration files that nobody wrote: the databases have to come through, under the sanitizers above all.
#include <random>
#include <string>

#include "orbbase/clr.h"
#include "tests/support/config/configuration.h"

namespace {

using orb::testing::ConfigurationTest;

class HostileConfiguration : public ConfigurationTest {
 protected:
  void ask_everything() {
    EXPECT_GT(FMT_def_frame_rate(), 0);
    EXPECT_GE(FMT_def_swatch(), 0);
    EXPECT_NE(FMT_find(FMT_def_aspect()), nullptr);
    EXPECT_NE(orb::fb::default_name(), nullptr);
    for (int32_t n = 0; n < 40; ++n) {
      const CLR_BINS* const bins = CLR_find(n);
      ASSERT_TRUE(!bins || bins->count == n);
      for (int32_t i = 0; bins && i < n; ++i) sum_ += bins->wavelengths[i] + bins->weights[3 * i + 2];
    }
    orb::config::ListedSetting listed;
    for (int32_t i = 0; i < orb::fmt::listed_count(); ++i) EXPECT_TRUE(orb::fmt::list(i, &listed));
    for (int32_t i = 0; i < orb::fb::listed_count(); ++i) EXPECT_TRUE(orb::fb::list(i, &listed));
    for (int32_t i = 0; i < orb::clr::listed_count(); ++i) EXPECT_TRUE(orb::clr::list(i, &listed));
  }

  std::mt19937 random_{20240131};
  size_t below(size_t n) { return random_() % n; }
  float sum_ = 0;  // reads the derived numbers, so that a wrong address shows
};

TEST_F(HostileConfiguration, of_random_bytes_is_harmless) {
  for (int file = 0; file < 300; ++file) {
    std::string text(below(3000), '\0');
    const size_t alphabet = file % 3 == 0 ? 256 : 40;  // the small one makes lines, quotes and words
    for (char& c : text) c = static_cast<char>(alphabet == 256 ? below(256) : below(alphabet) + 7);
    configure(text);
    ask_everything();
  }
}

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
      "fb__default '" + repeated(30'000, "long ") + "'\n",
      repeated(5'000, "fmt__aspect_table\nntsc_640 1 1 1\nend_aspect_table\n"),
      repeated(5'000, "framebuffer a\n") + repeated(5'000, "end_framebuffer\n"),
      "clr__sample_bins 1024 " + repeated(1025, "1e99 \\\n"),
      "clr__sample_bins 1024 " + repeated(1024, "500 \\\n"),
      "clr__sample_bins 2 " + repeated(10'000, "\\\n"),
      repeated(5'000, "clr__sample_bins 1024 uniform\n"),
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

TEST_F(HostileConfiguration, of_keywords_and_rubbish_is_harmless) {
  const char* const words[] = {"fmt__aspect_default",
                               "fmt__aspect_table",
                               "end_aspect_table",
                               "fmt__gamma_table_res",
                               "fmt__gamma_default",
                               "fmt__key_default",
                               "fmt__name_default",
                               "fmt__chan_default",
                               "fmt__dominance",
                               "fmt__frame_rate",
                               "fmt__swatch_size",
                               "framebuffer",
                               "resolution",
                               "aspect",
                               "gamma",
                               "red_primary",
                               "white_point",
                               "end_framebuffer",
                               "fb__default",
                               "clr__default_samples",
                               "clr__default_red_primary",
                               "clr__min_wavelength",
                               "clr__max_wavelength",
                               "clr__sample_bins",
                               "clr__tristimulus",
                               "end__tristimulus",
                               "clr__tristimulus_tab_res",
                               "uniform",
                               "\\",
                               "'",
                               "\"a b\"",
                               "#",
                               "0",
                               "1",
                               "3",
                               "-1",
                               "2147483648",
                               "1e99",
                               "-1e99",
                               "1e-99",
                               "400",
                               "700",
                               "0.5",
                               "65536",
                               "65537",
                               "12abc",
                               "ntsc",
                               "ntsc_640",
                               "full",
                               "%s%n",
                               "none",
                               "\033"};
  for (int file = 0; file < 600; ++file) {
    std::string text;
    for (size_t line = below(60) + 1; line > 0; --line) {
      for (size_t word = below(7); word > 0; --word) {
        text += words[below(std::size(words))];
        text += ' ';
      }
      text += '\n';
    }
    configure(text);
    ask_everything();
  }
}

}  // namespace
