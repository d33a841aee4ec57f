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

}  // namespace orb::testing
