#include <gtest/gtest.h>

#include "orbbase/str.h"

TEST(Number, is_numeric_accepts_digits_alone) {
  // clang-format off
  const struct { const char* text; int32_t accepted; } rows[] = {
      {"0", 1}, {"00123456789012345", 1}, {"", 0}, {"-1", 0}, {"1 ", 0}, {"1a", 0}, {"\xb2", 0},
      {nullptr, 0}};
  // clang-format on
  for (const auto& row : rows)
    EXPECT_EQ(STR_is_numeric(row.text), row.accepted) << (row.text ? row.text : "null");
}

TEST(Number, is_integer_accepts_exactly_the_signed_32_bit_range) {
  // clang-format off
  const struct { const char* text; int32_t accepted; } rows[] = {
      {"2147483647", 1}, {"2147483648", 0}, {"+2147483647", 1}, {"+2147483648", 0}, {"-2147483648", 1},
      {"-2147483649", 0}, {"-2147483647", 1}, {"9999999999", 0}, {"0000000001", 1}, {"00000000001", 0},
      {"-00000000001", 0}, {"+7", 1}, {"-0", 1}, {"+", 0}, {"-", 0}, {"", 0}, {"7 ", 0}, {" 7", 0},
      {"+-7", 0}, {"1.0", 0}, {nullptr, 0}};
  // clang-format on
  for (const auto& row : rows)
    EXPECT_EQ(STR_is_integer(row.text), row.accepted) << (row.text ? row.text : "null");
}

TEST(Number, is_real_is_lenient_about_missing_digits) {
  // clang-format off
  const struct { const char* text; int32_t accepted; } rows[] = {
      {"1", 1}, {"-1.5", 1}, {"+.5", 1}, {"5.", 1}, {"1e5", 1}, {"1E-5", 1}, {"1.e+", 1}, {"+", 1},
      {"-", 1}, {".", 1}, {"e5", 1}, {"1e", 0}, {"e", 0}, {"", 0}, {"1.2.3", 0}, {"1e5.", 0}, {"1 ", 0},
      {"x", 0}, {"1e5x", 0}, {"--1", 0}, {"1e+-5", 0}, {"0x10", 0}, {"inf", 0}, {nullptr, 0}};
  // clang-format on
  for (const auto& row : rows)
    EXPECT_EQ(STR_is_real(row.text), row.accepted) << (row.text ? row.text : "null");
}
