#include <gtest/gtest.h>

#include <string>

#include "orbbase/str.h"

TEST(Number, is_digits_alone_or_of_32_bits_or_leniently_real) {
  // clang-format off
  const struct { const char *text, *kinds; } rows[] = {  // n: numeric, i: integer, r: real
      {"0", "nir"}, {"00123456789012345", "nr"}, {"", ""}, {"1a", ""}, {"\xb2", ""}, {nullptr, ""}, {"x", ""},
      {"2147483647", "nir"}, {"2147483648", "nr"}, {"+2147483647", "ir"}, {"+2147483648", "r"},
      {"-2147483648", "ir"}, {"-2147483649", "r"}, {"-2147483647", "ir"}, {"9999999999", "nr"},
      {"0000000001", "nir"}, {"00000000001", "nr"}, {"-00000000001", "r"}, {"+7", "ir"}, {"-0", "ir"},
      {"+", "r"}, {"-", "r"}, {"7 ", ""}, {" 7", ""}, {"+-7", ""}, {"1.0", "r"}, {"-1.5", "r"}, {"+.5", "r"},
      {"5.", "r"}, {"1e5", "r"}, {"1E-5", "r"}, {"1.e+", "r"}, {".", "r"}, {"e5", "r"}, {"1e", ""}, {"e", ""},
      {"1.2.3", ""}, {"1e5.", ""}, {"1e5x", ""}, {"--1", ""}, {"1e+-5", ""}, {"0x10", ""}, {"inf", ""}};
  // clang-format on
  for (const auto& row : rows) {
    std::string kinds = STR_is_numeric(row.text) == 1 ? "n" : "";
    if (STR_is_integer(row.text) == 1) kinds += "i";
    if (STR_is_real(row.text) == 1) kinds += "r";
    EXPECT_EQ(kinds, row.kinds) << (row.text ? row.text : "null");
  }
}
