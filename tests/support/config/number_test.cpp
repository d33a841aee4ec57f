#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

#include "orbbase/support/config/integer.h"
#include "orbbase/support/config/real.h"

namespace {

using orb::config::leading_integer;
using orb::config::parse_integer;
using orb::config::parse_real;

// With a point whatever the locale.
double read_by_the_system(const char* text) {
  const std::string locale = std::setlocale(LC_NUMERIC, nullptr);
  std::setlocale(LC_NUMERIC, "C");
  const double value = std::strtod(text, nullptr);
  std::setlocale(LC_NUMERIC, locale.c_str());
  return value;
}

TEST(Real, is_digits_with_sign_point_and_an_exponent_of_at_most_two_digits) {
  const std::string zeros(1000, '0'), nines(1000, '9');
  const std::string low = "-" + zeros + nines, tiny = "0." + zeros + "1", long_three = zeros + "3." + zeros;
  for (const char* text :
       {"2.2", "0", "-1.5", "+7", "5.", ".5", " \t\n3", "1e0", "007.250", "1e00", "16777217", "1e99",
        nines.c_str(), low.c_str(), tiny.c_str(), long_three.c_str()}) {
    float value = -99;
    EXPECT_TRUE(parse_real(text, &value)) << text;
    EXPECT_EQ(value, static_cast<float>(read_by_the_system(text))) << text;
  }
}

TEST(Real, takes_powers_of_ten_as_nearly_as_seven_digits_of_their_logarithm) {
  float value = 0;
  for (const auto& [text, wanted] :
       {std::pair("1.5e3", 1500.0), {"1D2", 100}, {"1d+02", 100}, {"25E-1", 2.5}, {"1e-38", 1e-38}}) {
    ASSERT_TRUE(parse_real(text, &value)) << text;
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
  const auto expect = [](const char* text, bool is_whole) {
    const auto leading =
        static_cast<int32_t>(std::clamp<long long>(std::strtoll(text, nullptr, 10), INT32_MIN, INT32_MAX));
    EXPECT_EQ(leading_integer(text), leading) << text;
    int32_t value = 0;
    EXPECT_EQ(parse_integer(text, &value), is_whole) << text;
    EXPECT_EQ(value, is_whole ? leading : 0) << text;
  };
  for (const char* text : {"401", "-3", "+8", "2147483647", "-2147483648"}) expect(text, true);
  for (const char* text : {"2147483648", "-2147483649", "-99999999999999999999", "12abc", "abc", "", "-",
                           "- 5", " \t-5", "1 ", "401.0"}) {
    expect(text, false);
  }
}

}  // namespace
