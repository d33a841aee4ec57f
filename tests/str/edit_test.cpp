#include <gtest/gtest.h>

#include <climits>

#include "tests/str/text.h"

namespace orb::testing {

TEST(Owned, length_of_null_is_0) {
  EXPECT_EQ(STR_length(nullptr), 0u);
  EXPECT_EQ(STR_length("abc"), 3u);
}

TEST(Owned, more_keeps_what_fits_and_terminates_at_n) {
  EXPECT_EQ(take(STR_more(nullptr, 5)), "");
  EXPECT_EQ(take(STR_more(owned_text("abcdef"), 3)), "abc");
  char* grown = STR_more(owned_text("abc"), 100);
  EXPECT_STREQ(grown, "abc");
  EXPECT_EQ(grown[100], '\0');
  EXPECT_EQ(STR_more(grown, -1), nullptr);
  EXPECT_EQ(STR_more(grown, INT64_MAX), nullptr);
  EXPECT_EQ(take(grown), "abc");  // a failure leaves the string alone
}

TEST(Owned, n_save_copies_at_most_n_characters_and_reads_no_further) {
  const char unterminated[] = {'a', 'b', 'c'};
  // clang-format off
  const struct { int64_t n; const char* copy; } rows[] = {
      {-1, ""}, {0, ""}, {2, "ab"}, {3, "abc"}};
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(take(STR_n_save(unterminated, row.n)), row.copy) << row.n;
  EXPECT_EQ(take(STR_n_save("abc", INT64_MAX)), "abc");
}

TEST(Owned, save_n_and_append_put_strings_together) {
  EXPECT_EQ(take(STR_save_n(3, "ab", "", "cde")), "abcde");
  EXPECT_EQ(take(STR_save_n(0)) + take(STR_save_n(-5, "x")), "");
  EXPECT_EQ(take(STR_append(owned_text("ab"), "cd")), "abcd");
  EXPECT_EQ(take(STR_append(nullptr, "cd")), "cd");
  EXPECT_EQ(take(STR_append(owned_text(""), "")), "");
  EXPECT_EQ(take(STR_n_append(owned_text("ab"), "cdef", 2)), "abcd");
  EXPECT_EQ(take(STR_n_append(nullptr, "cdef", 3)), "cde");
  EXPECT_EQ(take(STR_n_append(owned_text("ab"), "cd", -1)), "ab");
  const malloced<char> padded(STR_n_append(owned_text("ab"), "c", 4));
  EXPECT_EQ(std::string(padded.get(), 7), std::string("abc\0\0\0\0", 7));  // a short tail, with zeros
}

TEST(Owned, insert_clamps_position_and_count) {
  // clang-format off
  const struct { const char* s; const char* text; int64_t position, n; const char* result; } rows[] = {
      {"ad", "bc", 1, 2, "abcd"}, {"ad", "bc", 1, 1, "abd"}, {"ad", "bc", -3, 9, "bcad"},
      {"ad", "bc", 99, 2, "adbc"}, {"ad", "bc", 1, -1, "ad"}, {nullptr, "bc", 7, 1, "b"},
      {"", "bc", 0, INT64_MAX, "bc"}, {"ad", "bc", INT64_MIN, 2, "bcad"}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(take(STR_n_insert(owned_text(row.s), row.text, row.position, row.n)), row.result) << row.result;
  }
  EXPECT_EQ(take(STR_insert(owned_text("ac"), 'b', 1)), "abc");
  EXPECT_EQ(take(STR_insert(owned_text("ab"), 'c', 99)), "abc");
  EXPECT_EQ(take(STR_insert(nullptr, 'c', 5)), "c");
}

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

}  // namespace orb::testing
