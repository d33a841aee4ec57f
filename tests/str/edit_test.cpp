#include <gtest/gtest.h>

#include "tests/str/text.h"

namespace orb::testing {

TEST(Edit, pad_fills_up_to_the_width_and_never_cuts) {
  // clang-format off
  const struct { const char* text; int64_t width; const char* padded; } rows[] = {
      {"ab", 5, "ab..."}, {"ab", 2, "ab"}, {"ab", 1, "ab"}, {"ab", -7, "ab"}, {"", 2, ".."}};
  // clang-format on
  for (const auto& row : rows) {
    char text[16];
    std::memset(text, '#', sizeof text);
    std::strcpy(text, row.text);
    EXPECT_EQ(STR_pad(text, '.', row.width), text);
    EXPECT_STREQ(text, row.padded);
  }
}

TEST(Edit, remove_takes_the_first_every_or_the_last_occurrence) {
  // clang-format off
  const struct { const char* text; char c; const char *first, *all, *last; } rows[] = {
      {"xaxbx", 'x', "axbx", "ab", "xaxb"}, {"ab", 'x', "ab", "ab", "ab"}, {"x", 'x', "", "", ""},
      {"xx", 'x', "x", "", "x"}, {"", 'x', "", "", ""}, {"ab", '\0', "ab", "ab", "ab"}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(in_place(STR_remove, row.text, row.c), row.first) << row.text;
    EXPECT_EQ(in_place(STR_remove_all, row.text, row.c), row.all) << row.text;
    EXPECT_EQ(in_place(STR_remove_reverse, row.text, row.c), row.last) << row.text;
  }
}

TEST(Edit, remove_index_takes_one_character) {
  // clang-format off
  const struct { int64_t index; const char* result; } rows[] = {
      {0, "bc"}, {2, "ab"}, {3, "abc"}, {99, "abc"}, {-1, "(null)"}, {INT64_MAX, "abc"}};
  // clang-format on
  for (const auto& row : rows)
    EXPECT_EQ(in_place(STR_remove_index, "abc", row.index), row.result) << row.index;
}

TEST(Edit, n_remove_index_grows_the_count_by_the_magnitude_of_a_negative_index) {
  // clang-format off
  const struct { int64_t index, n; const char* result; } rows[] = {
      {1, 2, "adef"}, {4, 99, "abcd"}, {6, 1, "abcdef"}, {99, 1, "abcdef"}, {2, 0, "abcdef"},
      {2, -1, "abcdef"}, {-1, 2, "def"}, {-3, -1, "cdef"}, {-3, -3, "abcdef"}, {-9, 0, ""},
      {-1, INT64_MAX, ""}, {INT64_MIN, 1, ""}, {INT64_MIN, INT64_MAX, ""}, {INT64_MIN, INT64_MIN, "abcdef"},
      {0, INT64_MAX, ""}, {1, INT64_MAX, "a"}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(in_place(STR_n_remove_index, "abcdef", row.index, row.n), row.result)
        << row.index << ' ' << row.n;
  }
}

TEST(Edit, case_changes_letters_only) {
  EXPECT_EQ(in_place(STR_tolower, "ABz-\xc9 9"), "abz-\xc9 9");
  EXPECT_EQ(in_place(STR_toupper, "ABz-\xe9 9"), "ABZ-\xe9 9");
}

}  // namespace orb::testing
