#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "orbbase/support/config/integer.h"
#include "orbbase/support/config/real.h"

namespace {

using orb::config::leading_integer;
using orb::config::parse_integer;
using orb::config::parse_real;

TEST(Real, is_digits_with_sign_point_and_an_exponent_of_at_most_two_digits) {
  const struct {
    const char* text;
    float value;
  } rows[] = {{"2.2", 2.2f},      {"0", 0},     {"-1.5", -1.5f},       {"+7", 7},
              {"5.", 5},          {".5", 0.5f}, {" \t\n3", 3},         {"1e0", 1},
              {"007.250", 7.25f}, {"1e00", 1},  {"16777217", 16777216}};
  for (const auto& row : rows) {
    float value = -99;
    EXPECT_TRUE(parse_real(row.text, &value)) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
  }
}

TEST(Real, takes_powers_of_ten_as_nearly_as_seven_digits_of_their_logarithm) {
  const struct {
    const char* text;
    double value;
  } rows[] = {{"1.5e3", 1500}, {"1D2", 100},     {"1d+02", 100},
              {"25E-1", 2.5},  {"1e-38", 1e-38}, {"1e38", 1e38}};
  for (const auto& row : rows) {
    float value = 0;
    ASSERT_TRUE(parse_real(row.text, &value)) << row.text;
    EXPECT_NEAR(value / row.value, 1, 1e-6) << row.text;
  }
  float value = 0;
  ASSERT_TRUE(parse_real("1e38", &value));
  EXPECT_EQ(value, static_cast<float>(std::exp(38 * 2.3025851)));  // and no nearer
}

TEST(Real, refuses_everything_else_and_then_leaves_the_target_alone) {
  for (const char* text :
       {"",      " ",   ".",   "-",   "+.", "2.2x", "2.2 ", "x",   "1e",   "1e+", "1e+x", "1e100", "1e001",
        "1.2.3", "1,5", "--1", "+-1", "1f", "0x10", "inf",  "nan", "1e 3", "e3",  "1 2",  "\x80"}) {
    float value = 42;
    EXPECT_FALSE(parse_real(text, &value)) << '"' << text << '"';
    EXPECT_EQ(value, 42) << '"' << text << '"';
  }
}

TEST(Real, stays_a_number_however_many_digits_there_are) {
  const std::string zeros(1000, '0');
  const std::string nines(1000, '9');
  const struct {
    std::string text;
    float value;
  } rows[] = {{nines, std::numeric_limits<float>::infinity()},
              {"-" + zeros + nines, -std::numeric_limits<float>::infinity()},
              {"0." + zeros + "1", 0},
              {zeros + "3" + "." + zeros, 3},
              {"1e99", std::numeric_limits<float>::infinity()}};
  for (const auto& row : rows) {
    float value = 42;
    EXPECT_TRUE(parse_real(row.text.c_str(), &value));
    EXPECT_EQ(value, row.value);
  }
}

TEST(Real, has_a_point_in_every_locale) {
  static char made_for_this_test[] = "LOCPATH=" ORB_TEST_LOCALES;
  putenv(made_for_this_test);
  bool is_found = false;
  for (const char* name : {"de_DE.utf8", "German"}) is_found = is_found || std::setlocale(LC_NUMERIC, name);
  float value = 0;
  const bool is_point_read = parse_real("2.5", &value);
  const bool is_comma_read = parse_real("2,5", &value);
  std::setlocale(LC_NUMERIC, "C");
  EXPECT_TRUE(is_found) << "without a locale that has a decimal comma this shows nothing";
  EXPECT_TRUE(is_point_read);
  EXPECT_EQ(value, 2.5f);
  EXPECT_FALSE(is_comma_read);
}

TEST(Integer, is_read_as_far_as_it_goes_and_held_in_range) {
  const struct {
    const char* text;
    int32_t value;
  } rows[] = {{"12abc", 12},
              {"abc", 0},
              {"", 0},
              {" \t-5", -5},
              {"+8", 8},
              {"- 5", 0},
              {"2147483647", 2147483647},
              {"2147483648", 2147483647},
              {"-2147483648", -2147483647 - 1},
              {"-99999999999999999999", -2147483647 - 1},
              {"1e3", 1}};
  for (const auto& row : rows) EXPECT_EQ(leading_integer(row.text), row.value) << row.text;
}

TEST(Integer, read_strictly_is_the_whole_word_and_in_range) {
  const struct {
    const char* text;
    bool is_accepted;
    int32_t value;
  } rows[] = {{"401", true, 401},
              {"-3", true, -3},
              {"+3", true, 3},
              {"-2147483648", true, -2147483647 - 1},
              {"2147483648", false, 0},
              {"-2147483649", false, 0},
              {"99999999999999999999999", false, 0},
              {"", false, 0},
              {"-", false, 0},
              {" 1", false, 0},
              {"1 ", false, 0},
              {"401.0", false, 0},
              {"12abc", false, 0}};
  for (const auto& row : rows) {
    int32_t value = 0;
    EXPECT_EQ(parse_integer(row.text, &value), row.is_accepted) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
  }
}

}  // namespace
