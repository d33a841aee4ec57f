#include "orbbase/clr.h"

#include <gmock/gmock.h>

#include <cmath>
#include <string>
#include <utility>

#include "orbbase/colour/clr_observer.h"
#include "orbbase/colour/internal.h"
#include "orbbase/registry.h"
#include "tests/support/config/configuration.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/number_text.h"

namespace {

using namespace orb::testing;
using orb::clr::matching_table;

class ColourDefaults : public ConfigurationTest {
 protected:
  // Entry of the table at a wavelength that it has.
  static const float* at(float wavelength) {
    const float step =
        (CLR_def_max_wavelength() - CLR_def_min_wavelength()) / static_cast<float>(CLR_def_xyz_tab_res() - 1);
    const auto entry = static_cast<size_t>(std::lround((wavelength - CLR_def_min_wavelength()) / step));
    return matching_table().data() + 3 * entry;
  }
};

std::string boundaries(int32_t count) {
  const CLR_BINS* const bins = CLR_find(count);
  if (!bins) return "none";
  std::string all = bins->is_uniform ? "uniform" : "";
  for (int32_t i = 0; i <= count; ++i) all += " " + std::to_string(std::lround(bins->boundaries[i]));
  return all;
}

std::string triple(const float* values) {
  return number_text(values[0]) + " " + number_text(values[1]) + " " + number_text(values[2]);
}

// All settings, one behind the other.
std::string settings() {
  std::string all = std::to_string(CLR_def_color_samp()) + ", " + std::to_string(CLR_def_xyz_tab_res());
  for (const float number : {CLR_def_min_wavelength(), CLR_def_max_wavelength()})
    all += ", " + number_text(number);
  for (const float* values :
       {CLR_def_red_primary(), CLR_def_green_primary(), CLR_def_blue_primary(), CLR_def_white_point()})
    all += ", " + triple(values);
  return all;
}

constexpr const char* kNoFunction =
    "Invalid matching function (check the configuration file color matching function)";

TEST(StandardObserver, sums_to_the_published_figures_and_draws_the_published_spectrum_locus) {
  const auto points = orb::clr::standard_observer();
  ASSERT_EQ(points.size(), 81u);
  double sums[3] = {};
  for (size_t i = 0; i < points.size(); ++i) {
    EXPECT_EQ(points[i].wavelength, 380 + 5 * static_cast<float>(i));
    for (size_t c = 0; c < 3; ++c) sums[c] += static_cast<double>(points[i].xyz[c]);
  }
  // Of the six-decimal functions; rounding to four moves a sum by about 0.0003.
  for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(sums[c], 21.3713 + 0.0001 * static_cast<double>(c), 0.0005);
  EXPECT_EQ(triple(points[14].xyz), "0.336200 0.038000 1.772100");
  EXPECT_EQ(triple(points[35].xyz), "0.512100 1.000000 0.005700");
  EXPECT_EQ(triple(points[44].xyz), "1.062200 0.631000 0.000800");
  constexpr double kLocus[][2] = {
      // from 420 nm on, every 10 nm
      {0.1714, 0.0051}, {0.1689, 0.0069}, {0.1644, 0.0109}, {0.1566, 0.0177}, {0.1440, 0.0297},
      {0.1241, 0.0578}, {0.0913, 0.1327}, {0.0454, 0.2950}, {0.0082, 0.5384}, {0.0139, 0.7502},
      {0.0743, 0.8338}, {0.1547, 0.8059}, {0.2296, 0.7543}, {0.3016, 0.6923}, {0.3731, 0.6245},
      {0.4441, 0.5547}, {0.5125, 0.4866}, {0.5752, 0.4242}, {0.6270, 0.3725}, {0.6658, 0.3340},
      {0.6915, 0.3083}, {0.7079, 0.2920}, {0.7190, 0.2809}, {0.7260, 0.2740}, {0.7300, 0.2700}};
  for (size_t i = 0; i < std::size(kLocus); ++i) {
    const auto& xyz = points[8 + 2 * i].xyz;
    const double sum = static_cast<double>(xyz[0]) + xyz[1] + xyz[2];
    const double rounding = 0.0001 + 0.0001 / sum;  // of the locus, and of the four decimals
    for (size_t c = 0; c < 2; ++c) EXPECT_NEAR(xyz[c] / sum, kLocus[i][c], rounding) << 420 + 10 * i;
  }
}

TEST_F(ColourDefaults, are_built_in_or_come_from_the_file) {
  EXPECT_EQ(settings(),
            "3, 401, 380.000000, 780.000000, 0.670000 0.330000 0.000000, 0.210000 0.710000 0.080000, "
            "0.140000 0.080000 0.780000, 0.310000 0.316000 0.374000");
  const std::pair<int32_t, const char*> bins[] = {{0, "none"},
                                                  {1, " 545 666"},
                                                  {3, " 414 492 568 657"},
                                                  {8, " 419 460 488 516 547 569 589 644 650"},
                                                  {10, " 417 444 474 492 515 542 562 577 592 643 649"},
                                                  {11, "none"}};
  for (const auto& [count, wanted] : bins) EXPECT_EQ(boundaries(count), wanted);
  configure(
      "clr__default_samples 5\nclr__default_red_primary 1 2 3\nclr__default_green_primary 4 5 6\n"
      "clr__default_blue_primary 7 8 9\nclr__default_white_point 1e0 .5 -1\nclr__min_wavelength 400\n"
      "clr__max_wavelength 700\nclr__tristimulus_tab_res 31\n1 2 3 4\nanything else\n");
  EXPECT_EQ(settings(),
            "5, 31, 400.000000, 700.000000, 1.000000 2.000000 3.000000, 4.000000 5.000000 6.000000, "
            "7.000000 8.000000 9.000000, 1.000000 0.500000 -1.000000");
  EXPECT_EQ(matching_table().size(), 93u);
  EXPECT_TRUE(recorder.reports.empty()) << recorder.texts();
}

TEST_F(ColourDefaults, have_a_table_that_integrates_to_one_and_follows_the_observer) {
  for (const char* text :
       {"", "clr__min_wavelength 400\n", "clr__max_wavelength 650\nclr__tristimulus_tab_res 2000\n"}) {
    configure(text);
    ASSERT_NE(CLR_find(1), nullptr);
    const double step = static_cast<double>(CLR_def_max_wavelength() - CLR_def_min_wavelength()) /
                        (CLR_def_xyz_tab_res() - 1);
    for (size_t c = 0; c < 3; ++c) {
      double sum = 0;
      for (size_t i = c; i < matching_table().size(); i += 3) sum += static_cast<double>(matching_table()[i]);
      EXPECT_NEAR(sum * step, 1, 1e-5) << text;
    }
  }
  configure("");
  ASSERT_NE(CLR_find(1), nullptr);
  EXPECT_NEAR(at(555)[1] / at(600)[1], 1.0000 / 0.6310, 1e-5);
  EXPECT_NEAR(at(553)[0] / at(600)[0], (0.4334 + 0.6 * (0.5121 - 0.4334)) / 1.0622, 1e-5);
  EXPECT_EQ(at(380)[2], 0);  // a function starts from zero at the shortest wavelength
  EXPECT_NEAR(at(382)[2] / at(450)[2], 0.4 * 0.0105 / 1.7721, 1e-6);
  configure("clr__min_wavelength 400\nclr__tristimulus_tab_res 381\n");  // unless there are points below it
  ASSERT_NE(CLR_find(1), nullptr);
  EXPECT_NEAR(at(400)[2] / at(450)[2], 0.0679 / 1.7721, 1e-6);
}

TEST_F(ColourDefaults, take_the_points_of_a_block_in_any_order) {
  configure(
      "clr__tristimulus\n700 1 1 1\n500 1 2 4\n\n500 9 9 9\n600 3 2 1\nclr__default_samples "
      "7\nend__tristimulus\n"
      "550 100 100 100\n");
  ASSERT_NE(CLR_find(1), nullptr);
  EXPECT_NEAR(at(600)[0] / at(500)[0], 3, 1e-5);  // the first of two points at one wavelength counts
  EXPECT_NEAR(at(550)[2] / at(500)[2], 2.5 / 4, 1e-5);
  EXPECT_NEAR(at(440)[1] / at(500)[1], 0.5, 1e-5);  // from zero at 380
  EXPECT_NEAR(at(740)[0] / at(700)[0], 0.5, 1e-5);  // to zero at 780
  EXPECT_EQ(at(780)[0], 0);
  EXPECT_EQ(CLR_def_color_samp(), 7);
  EXPECT_TRUE(recorder.reports.empty()) << recorder.texts();
}

TEST_F(ColourDefaults, use_an_unfinished_or_empty_block_only_when_the_table_must_be_made_again) {
  const std::string points = "clr__tristimulus\n500 1 1 1\n";
  const struct {
    std::string text;
    bool is_of_the_file;
  } rows[] = {{points, false},
              {points + "end__tristimulus\n", true},
              {points + "clr__sample_bins 2 uniform\n", true},
              {points + "clr__sample_bins 0\n", true},
              {"clr__sample_bins 2 uniform\n", false},
              {"clr__tristimulus\nend__tristimulus\n", false},
              {"500 1 1 1\nend__tristimulus\n", false}};
  for (const auto& row : rows) {
    configure(row.text);
    ASSERT_NE(CLR_find(1), nullptr) << row.text;
    EXPECT_EQ(at(500)[0] == at(500)[1], row.is_of_the_file) << row.text;
  }
  configure("clr__tristimulus\nend__tristimulus\nclr__max_wavelength 700\n");
  EXPECT_EQ(CLR_find(1), nullptr);
  EXPECT_EQ(recorder.texts(), kNoFunction);
}

TEST_F(ColourDefaults, take_bins_uniform_listed_and_continued) {
  configure(
      "clr__sample_bins 3 uniform\nclr__sample_bins 2 \\\n400 \\ ignored\n\"500\" 600 700\n"
      "clr__sample_bins 11 1 2 3 4 5 6 7 8 9 10 11 12\nclr__min_wavelength 400\nclr__max_wavelength 700\n");
  EXPECT_EQ(boundaries(3), "uniform 400 500 600 700");
  EXPECT_EQ(boundaries(2), " 400 500 600");
  EXPECT_EQ(boundaries(11), " 1 2 3 4 5 6 7 8 9 10 11 12");
  EXPECT_EQ(boundaries(1), " 545 666");
  EXPECT_TRUE(recorder.reports.empty()) << recorder.texts();
}

TEST_F(ColourDefaults, derive_the_integrals_weights_and_wavelengths_of_bins_from_the_table) {
  // All three functions are a triangle over 400, 500 and 600 nm; its area of 100 is scaled to 1.
  configure(
      "clr__min_wavelength 400\nclr__max_wavelength 600\nclr__tristimulus_tab_res 3\nclr__tristimulus\n"
      "500 1 1 1\nend__tristimulus\nclr__sample_bins 2 400 450 525\nclr__sample_bins 4 300 400 900 800 "
      "1e99\n");
  const CLR_BINS* bins = CLR_find(2);
  ASSERT_NE(bins, nullptr);
  for (int c = 0; c < 3; ++c) {
    EXPECT_NEAR(bins->integrals[c], 0.125, 1e-6);
    EXPECT_NEAR(bins->integrals[3 + c], 0.375 + 0.21875, 1e-6);
    EXPECT_NEAR(bins->weights[c], 0.125 / 0.71875, 1e-6);
    EXPECT_NEAR(bins->weights[c] + bins->weights[3 + c], 1, 1e-6);
  }
  EXPECT_NEAR(bins->wavelengths[0], 400 + 50 * 2 / 3.0, 1e-3);
  EXPECT_NEAR(bins->wavelengths[1], (0.375 * 477.7778 + 0.21875 * 511.9048) / 0.59375, 1e-2);
  bins = CLR_find(4);  // outside the range, beyond it on both sides, ending before it starts, without an end
  const float integrals[] = {0, 1, 0, 0};
  for (int i = 0; i < 4; ++i) EXPECT_NEAR(bins->integrals[3 * i], integrals[i], 1e-6);
  EXPECT_EQ(bins->wavelengths[0], 350);
  EXPECT_NEAR(bins->wavelengths[1], 500, 1e-3);
  EXPECT_EQ(bins->wavelengths[2], 850);
}

TEST_F(ColourDefaults, report_lines_of_a_wrong_form_and_go_on) {
  configure(
      "clr__min_wavelength\nclr__default_red_primary 1 2\nclr__sample_bins\nclr__sample_bins 0 uniform\n"
      "clr__sample_bins 1025 uniform\nclr__sample_bins 3 400 500\nclr__tristimulus x\nclr__tristimulus\n500 "
      "1 1\n"
      "end__tristimulus\nclr__default_samples 7\nclr__sample_bins 3 400 \\\n");
  EXPECT_EQ(CLR_def_color_samp(), 7);
  std::string expected;
  for (const int line : {1, 2, 3, 4, 5, 6, 7, 9, 12})
    expected += (expected.empty() ? "" : "\n") + syntax_error(line);
  // A block that was begun counts once there are bins, and this one is empty.
  expected += std::string("\n") + kNoFunction;
  EXPECT_EQ(recorder.texts(), expected);
}

TEST_F(ColourDefaults, stop_at_a_word_that_is_no_number_and_keep_what_came_before) {
  for (const char* line : {"clr__min_wavelength 4oo", "clr__default_samples 3.5",
                           "clr__default_red_primary 1 x 3", "clr__sample_bins three uniform",
                           "clr__min_wavelength inf", "clr__min_wavelength nan", "clr__min_wavelength 0x10",
                           "clr__default_white_point 4 5 1e100", "clr__sample_bins 2147483648 uniform",
                           "clr__sample_bins 3 400 \\\n 500 x 700", "clr__tristimulus\n500 1 1 l"}) {
    configure("clr__default_white_point 1 2 3\nclr__max_wavelength 100\nclr__sample_bins 2 uniform\n" +
              std::string(line) + "\nclr__default_samples 9\n");
    EXPECT_EQ(orb::clr_init(nullptr), -1) << line;
    EXPECT_EQ(orb::clr_init(nullptr), 0) << line;  // not read a second time
    const std::string breaks = line;
    const int number = 4 + (breaks.find('\n') != std::string::npos);
    EXPECT_EQ(recorder.texts(),
              "Invalid configuration file syntax, line " + std::to_string(number) + "; expecting a number")
        << line;
    EXPECT_EQ(CLR_def_white_point()[2], 3) << line;
    EXPECT_EQ(CLR_def_max_wavelength(), 100) << line;
    EXPECT_EQ(CLR_def_color_samp(), 3) << line;
    EXPECT_EQ(CLR_def_red_primary()[0], 0.67f) << line;
    EXPECT_EQ(boundaries(2), "uniform 380 580 780") << line;
    EXPECT_EQ(boundaries(3), " 414 492 568 657") << line;
    EXPECT_GT(CLR_find(3)->weights[0], 0) << line;
    orb::clr_exit();
    EXPECT_EQ(CLR_find(3), nullptr) << line;  // a search that cannot start its database finds nothing,
    EXPECT_NE(CLR_find(3), nullptr) << line;  // and the next one what was read
  }
}

TEST_F(ColourDefaults, that_cannot_be_read_fail_one_start_of_the_library) {
  for (const char* line : {"clr__min_wavelength 800\n", "clr__default_samples x\n"}) {
    configure(line);
    EXPECT_EQ(ORB_init(nullptr, nullptr), -1) << line;
    EXPECT_EQ(orb__err, -10) << line;
    EXPECT_EQ(ORB_init(nullptr, nullptr), 0) << line;  // not read a second time
    EXPECT_EQ(orb__err, 0) << line;
    EXPECT_EQ(recorder.reports.size(), 1u) << recorder.texts();
    ORB_exit();
    EXPECT_EQ(ORB_init(nullptr, nullptr), -1) << line;  // but after an end
    EXPECT_EQ(recorder.reports.size(), 2u) << recorder.texts();
    EXPECT_EQ(ORB_init(nullptr, nullptr), 0) << line;
    ORB_exit();
  }
}

TEST_F(ColourDefaults, discard_bins_and_table_but_no_settings_when_they_make_no_sense) {
  const std::string range = "Invalid wavelength sampling range, ";
  const std::string resolution = "Invalid table resolution (";
  const std::string rest = "; (check the configuration file)";
  const struct {
    std::string lines, report;
  } rows[] = {
      {"clr__min_wavelength 800\n", range + "(800.000000, 780.000000)" + rest},
      {"clr__min_wavelength 0\n", range + "(0.000000, 780.000000)" + rest},
      {"clr__min_wavelength 1e-99\n", range + "(0.000000, 780.000000)" + rest},
      {"clr__min_wavelength -1\n", range + "(-1.000000, 780.000000)" + rest},
      {"clr__max_wavelength 380\n", range + "(380.000000, 380.000000)" + rest},
      {"clr__tristimulus_tab_res 1\n", resolution + "1)" + rest},
      {"clr__tristimulus_tab_res 65537\n", resolution + "65537)" + rest},
      {"clr__tristimulus_tab_res 2147483647\n", resolution + "2147483647)" + rest},
      {"clr__min_wavelength 0\nclr__tristimulus_tab_res 1\n", range + "(0.000000, 780.000000)" + rest},
      {"clr__max_wavelength 1e38\n", kNoFunction},  // no entry of the table hits the visible range
      {"clr__tristimulus\n500 1 0 1\nend__tristimulus\n", kNoFunction},
      {"clr__tristimulus\n500 1 1e99 1\nend__tristimulus\n", kNoFunction}};
  for (const auto& row : rows) {
    configure("clr__default_samples 9\n" + row.lines);
    EXPECT_EQ(CLR_find(3), nullptr) << row.lines;
    EXPECT_EQ(CLR_def_color_samp(), 9) << row.lines;
    EXPECT_TRUE(matching_table().empty()) << row.lines;
    EXPECT_EQ(CLR_find(3), nullptr) << row.lines;
    EXPECT_EQ(recorder.texts(), row.report);
  }
  configure("clr__max_wavelength 1e99\n");
  EXPECT_EQ(CLR_find(3), nullptr);
  EXPECT_THAT(recorder.texts(),
              ::testing::StartsWith(range + "(380.000000, "));  // systems print infinity differently
}

TEST_F(ColourDefaults, say_which_query_started_them_if_they_could_start) {
  const WithDebugReports debug;
  const std::pair<const char*, void (*)()> rows[] = {
      {"CLR_find", [] { CLR_find(3); }},
      {"CLR_def_color_samp", [] { CLR_def_color_samp(); }},
      {"CLR_def_xyz_tab_res", [] { CLR_def_xyz_tab_res(); }},
      {"CLR_def_min_wavelength", [] { CLR_def_min_wavelength(); }},
      {"CLR_def_max_wavelength", [] { CLR_def_max_wavelength(); }},
      {"CLR_def_red_primary", [] { CLR_def_red_primary(); }},
      {"CLR_def_green_primary", [] { CLR_def_green_primary(); }},
      {"CLR_def_blue_primary", [] { CLR_def_blue_primary(); }},
      {"CLR_def_white_point", [] { CLR_def_white_point(); }}};
  for (const auto& [name, ask] : rows) {
    orb::clr_exit();
    recorder.clear();
    ask();
    ask();
    EXPECT_EQ(recorder.texts(), std::string("clr, initializing database for ") + name + " request");
  }
  configure("clr__tristimulus_tab_res 1\n");
  CLR_def_color_samp();
  EXPECT_EQ(recorder.reports.size(), 1u) << recorder.texts();
}

TEST_F(ColourDefaults, survive_the_failure_of_any_allocation) {
  configure(
      "clr__tristimulus\n500 1 1 1\nend__tristimulus\nclr__sample_bins 3 uniform\nclr__sample_bins 3 1 2 3 "
      "4\n");
  bool happened = true;
  for (int nth = 1; happened; ++nth) {
    reset_databases();
    recorder.clear();
    {
      const FailAllocation fail(nth);
      const int32_t code = orb::clr_init(nullptr);
      happened = fail.happened();
      EXPECT_EQ(code, happened ? -1 : 0) << nth;
    }
    EXPECT_EQ(recorder.texts(), happened ? "No more internal memory" : "") << nth;
    EXPECT_EQ(CLR_find(1) == nullptr, happened) << nth;
    EXPECT_EQ(CLR_def_color_samp(), 3) << nth;
    EXPECT_EQ(orb::clr_exit(), 0) << nth;
    EXPECT_EQ(boundaries(3), " 1 2 3 4") << nth;
  }
}

TEST_F(ColourDefaults, are_listed_to_the_last_and_no_further) {
  orb::config::ListedSetting listed;
  EXPECT_TRUE(orb::clr::list(orb::clr::listed_count() - 1, &listed));
  EXPECT_FALSE(orb::clr::list(orb::clr::listed_count(), &listed));
}

}  // namespace
