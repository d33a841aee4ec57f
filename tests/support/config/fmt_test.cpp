#include <functional>
#include <string>

#include "tests/support/config/configuration.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/number_text.h"

namespace {

using orb::testing::ConfigurationTest;
using orb::testing::FailAllocation;
using orb::testing::number_text;
using orb::testing::WithDebugReports;

class FormatDefaults : public ConfigurationTest {};

std::string all_defaults() {
  return std::string(FMT_def_aspect()) + " " + std::to_string(FMT_def_gamma_tab_res()) + " " +
         number_text(FMT_def_gamma()) + " " + number_text(FMT_def_input_gamma()) + " " +
         orb::fmt::configured_key() + " " + orb::fmt::configured_name() + " " + FMT_def_image_data() + " " +
         std::to_string(FMT_def_dominance()) + " " + std::to_string(FMT_def_frame_rate()) + " " +
         std::to_string(FMT_def_swatch());
}

std::string all_aspects() {
  std::string all;
  EXPECT_EQ(FMT_init(nullptr), 0);
  while (const FMT_ASPECT* aspect = FMT_info())
    all += std::string(aspect->name) + " " + std::to_string(aspect->x_resolution) + " " +
           std::to_string(aspect->y_resolution) + " " + number_text(aspect->aspect) + ";";
  return all;
}

TEST_F(FormatDefaults, are_built_in_without_a_file) {
  EXPECT_EQ(all_defaults(), "ntsc_640 4096 2.200000 1.000000 rla im rgb 1 30 0");
  EXPECT_EQ(all_aspects(), "ntsc_640 640 486 1.330000;");
  EXPECT_TRUE(recorder.reports.empty()) << recorder.texts();
}

TEST_F(FormatDefaults, come_from_the_file_each_in_its_own_way) {
  const struct {
    const char *lines, *defaults;
  } rows[] = {
      {"fmt__gamma_table_res 12abc\nfmt__key_default tif\nfmt__name_default 'my pic'\nfmt__chan_default "
       "rgba\n",
       "ntsc_640 12 2.200000 1.000000 tif my pic rgba 1 30 0"},
      {"fmt__gamma_default 1.5e0 \nfmt__input_gamma_default -.5\n",
       "ntsc_640 4096 1.500000 -0.500000 rla im rgb 1 30 0"},
      {"fmt__gamma_default 2.2x\nfmt__input_gamma_default 1e100\n",
       "ntsc_640 4096 2.200000 1.000000 rla im rgb 1 30 0"},
      {"fmt__dominance even\nfmt__frame_rate 25\nfmt__swatch_size 64\n",
       "ntsc_640 4096 2.200000 1.000000 rla im rgb 0 25 64"},
      {"fmt__dominance even\nfmt__dominance odd\nfmt__frame_rate 0\nfmt__swatch_size -3\n",
       "ntsc_640 4096 2.200000 1.000000 rla im rgb 1 30 0"},
      {"fmt__dominance Even\nfmt__frame_rate -5\nfmt__swatch_size 9\nfmt__swatch_size none\n",
       "ntsc_640 4096 2.200000 1.000000 rla im rgb 1 30 0"},
      {"fmt__key_default a\nfmt__key_default b\n", "ntsc_640 4096 2.200000 1.000000 b im rgb 1 30 0"},
      {"other__word 1 2\n#\nFMT__frame_rate 7\n", "ntsc_640 4096 2.200000 1.000000 rla im rgb 1 30 0"}};
  for (const auto& row : rows) {
    configure(row.lines);
    EXPECT_EQ(all_defaults(), row.defaults) << row.lines;
    EXPECT_TRUE(recorder.reports.empty()) << recorder.texts();
  }
}

TEST_F(FormatDefaults, take_the_aspect_only_if_there_is_one_of_that_name_in_the_whole_file) {
  configure("fmt__aspect_default pal_768\n");
  EXPECT_STREQ(FMT_def_aspect(), "ntsc_640");
  configure("fmt__aspect_default pal_768\nfmt__aspect_table\npal_768 768 576 1.333\nend_aspect_table\n");
  EXPECT_STREQ(FMT_def_aspect(), "pal_768");
  EXPECT_EQ(FMT_find(FMT_def_aspect())->x_resolution, 768);
}

TEST_F(FormatDefaults, report_a_wrong_number_of_words_with_path_and_line_and_go_on) {
  configure(
      "\nfmt__frame_rate\nfmt__frame_rate 24\n\n  fmt__aspect_table 1\nfmt__key_default a "
      "b\nfmt__swatch_size 5");
  EXPECT_EQ(FMT_def_swatch(), 5);
  EXPECT_EQ(FMT_def_frame_rate(), 24);
  EXPECT_EQ(recorder.texts(), syntax_error(2) + "\n" + syntax_error(5) + "\n" + syntax_error(6));
}

TEST_F(FormatDefaults, have_a_table_of_aspects_that_skips_comments_and_reports_other_lines) {
  configure(
      "early 1 2 3\nfmt__aspect_table\n# name x y aspect\n#\nfilm 2048 1556 1.32\nwrong 5 6\nodd 1x y 1.5x\n"
      "fmt__frame_rate 24\nend_aspect_table\nlate 1 2 3\n");
  EXPECT_EQ(all_aspects(), "ntsc_640 640 486 1.330000;film 2048 1556 1.320000;odd 1 0 0.000000;");
  EXPECT_EQ(FMT_def_frame_rate(), 24);
  EXPECT_EQ(recorder.texts(), syntax_error(6));
}

TEST_F(FormatDefaults, list_an_aspect_defined_again_at_its_new_place) {
  configure("fmt__aspect_table\na 1 1 1\nntsc_640 641 487 1.4\na 2 2 2\n");
  EXPECT_EQ(all_aspects(), "ntsc_640 641 487 1.400000;a 2 2 2.000000;");
}

TEST_F(FormatDefaults, find_moves_the_walk_behind_what_it_found_and_else_leaves_it) {
  configure("fmt__aspect_table\na 1 1 1\nb 2 2 2\nc 3 3 3\n");
  EXPECT_STREQ(FMT_find("a")->name, "a");
  EXPECT_STREQ(FMT_info()->name, "b");
  EXPECT_EQ(FMT_find("B"), nullptr);
  EXPECT_EQ(FMT_find(nullptr), nullptr);
  EXPECT_STREQ(FMT_info()->name, "c");
  EXPECT_EQ(FMT_info(), nullptr);
  EXPECT_EQ(FMT_init(nullptr), 0);
  EXPECT_STREQ(FMT_info()->name, "ntsc_640");
}

TEST_F(FormatDefaults, say_which_query_started_them) {
  const WithDebugReports debug;
  const struct {
    const char* name;
    void (*ask)();
  } rows[] = {{"FMT_find", [] { FMT_find("x"); }},
              {"FMT_info", [] { FMT_info(); }},
              {"FMT_def_dominance", [] { FMT_def_dominance(); }},
              {"FMT_def_frame_rate", [] { FMT_def_frame_rate(); }},
              {"FMT_def_gamma", [] { FMT_def_gamma(); }},
              {"FMT_def_input_gamma", [] { FMT_def_input_gamma(); }},
              {"FMT_def_gamma_tab_res", [] { FMT_def_gamma_tab_res(); }},
              {"FMT_def_aspect", [] { FMT_def_aspect(); }},
              {"FMT_def_swatch", [] { FMT_def_swatch(); }},
              {"FMT_def_image_data", [] { FMT_def_image_data(); }}};
  for (const auto& row : rows) {
    FMT_exit();
    recorder.clear();
    row.ask();
    row.ask();
    EXPECT_EQ(recorder.texts(), std::string("fmt, initializing database for ") + row.name + " request");
    EXPECT_EQ(recorder.reports[0].category, ERR_DEBUG);
  }
}

TEST_F(FormatDefaults, keep_numbers_and_restore_texts_after_the_end) {
  configure(
      "fmt__frame_rate 24\nfmt__chan_default rgba\nfmt__aspect_default a\nfmt__aspect_table\na 1 1 1\n");
  EXPECT_STREQ(FMT_def_aspect(), "a");
  EXPECT_EQ(FMT_exit(), 0);
  EXPECT_EQ(FMT_exit(), 0);
  write(folder() / ".orbrc", "");
  EXPECT_EQ(all_defaults(), "ntsc_640 4096 2.200000 1.000000 rla im rgb 1 24 0");
  EXPECT_EQ(all_aspects(), "ntsc_640 640 486 1.330000;");
}

TEST_F(FormatDefaults, survive_the_failure_of_any_allocation) {
  const char* const text =
      "fmt__aspect_default a\nfmt__aspect_table\na 1 1 1\nntsc_640 2 2 2\nend_aspect_table\nfmt__key_default "
      "k\n"
      "fmt__key_default l\nfmt__swatch_size 5\n";
  configure(text);
  bool is_text_lost = false;
  for (int nth = 1;; ++nth) {
    reset_databases();
    recorder.clear();
    int32_t code = 0;
    {
      const FailAllocation fail(nth);
      code = FMT_init(nullptr);
      if (!fail.happened()) break;
    }
    EXPECT_TRUE(code == -1 || code == -10) << nth;
    EXPECT_EQ(orb__err, code == -10 ? -10 : 0) << nth;
    EXPECT_EQ(recorder.texts(), "No more internal memory") << nth;
    is_text_lost = is_text_lost || code == -10;
    EXPECT_EQ(all_aspects(), "a 1 1 1.000000;ntsc_640 2 2 2.000000;") << nth;
    EXPECT_EQ(all_defaults(), "a 4096 2.200000 1.000000 l im rgb 1 30 5") << nth;
  }
  EXPECT_TRUE(is_text_lost);
}

TEST_F(FormatDefaults, answer_with_what_they_know_while_there_is_no_memory) {
  configure("fmt__frame_rate 24\nfmt__chan_default rgba\n");
  {
    const FailAllocation fail(1, FailAllocation::Mode::from_there_on);
    EXPECT_STREQ(FMT_def_image_data(), "rgb");
    EXPECT_EQ(FMT_find("ntsc_640"), nullptr);
    EXPECT_EQ(FMT_info(), nullptr);
  }
  EXPECT_STREQ(FMT_def_image_data(), "rgba");
}

}  // namespace
