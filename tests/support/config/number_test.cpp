#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

#include "orbbase/support/config/integer.h"
#include "orbbase/support/config/real.h"

namespace {

using orb::config::leading_integer;
using orb::config::parse_integer;
using orb::config::parse_real;

using Row = std::pair<std::string, double>;

TEST(Real, is_digits_with_sign_point_and_an_exponent_of_at_most_two_digits) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::string zeros(1000, '0'), nines(1000, '9');
  const Row rows[] = {{"2.2", 2.2},
                      {"0", 0},
                      {"-1.5", -1.5},
                      {"+7", 7},
                      {"5.", 5},
                      {".5", .5},
                      {" \t\n3", 3},
                      {"1e0", 1},
                      {"007.250", 7.25},
                      {"1e00", 1},
                      {"16777217", 16777216},
                      {nines, infinity},
                      {"-" + zeros + nines, -infinity},
                      {"0." + zeros + "1", 0},
                      {zeros + "3." + zeros, 3},
                      {"1e99", infinity}};
  for (const auto& [text, wanted] : rows) {
    float value = -99;
    EXPECT_TRUE(parse_real(text.c_str(), &value)) << text;
    EXPECT_EQ(value, static_cast<float>(wanted)) << text;
  }
}

TEST(Real, takes_powers_of_ten_as_nearly_as_seven_digits_of_their_logarithm) {
  float value = 0;
  for (const auto& [text, wanted] :
       {Row("1.5e3", 1500), {"1D2", 100}, {"1d+02", 100}, {"25E-1", 2.5}, {"1e-38", 1e-38}}) {
    ASSERT_TRUE(parse_real(text.c_str(), &value)) << text;
    EXPECT_NEAR(value / wanted, 1, 1e-6) << text;
  }
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

TEST(Integer, is_read_as_far_as_it_goes_and_held_in_range_or_strictly_the_whole_word) {
  const struct {
    const char* text;
    int32_t leading;
    bool is_whole;
  } rows[] = {{"401", 401, true},
              {"-3", -3, true},
              {"+8", 8, true},
              {"2147483647", INT32_MAX, true},
              {"-2147483648", INT32_MIN, true},
              {"2147483648", INT32_MAX, false},
              {"-2147483649", INT32_MIN, false},
              {"-99999999999999999999", INT32_MIN, false},
              {"12abc", 12, false},
              {"abc", 0, false},
              {"", 0, false},
              {"-", 0, false},
              {"- 5", 0, false},
              {" \t-5", -5, false},
              {"1 ", 1, false},
              {"401.0", 401, false}};
  for (const auto& row : rows) {
    EXPECT_EQ(leading_integer(row.text), row.leading) << row.text;
    int32_t value = 0;
    EXPECT_EQ(parse_integer(row.text, &value), row.is_whole) << row.text;
    EXPECT_EQ(value, row.is_whole ? row.leading : 0) << row.text;
  }
}

}  // namespace
