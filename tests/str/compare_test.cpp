#include <gtest/gtest.h>

#include <vector>

#include "tests/str/text.h"

namespace orb::testing {

TEST(Compare, is_the_difference_of_the_first_differing_characters_as_signed_values) {
  // clang-format off
  const struct { const char *a, *b; int32_t difference; } rows[] = {
      {"", "", 0}, {"abc", "abc", 0}, {"abd", "abc", 1}, {"a", "z", -25}, {"ab", "a", 'b'},
      {"a", "ab", -'b'}, {"\xff", "", -1}, {"\x80", "\x7f", -255}, {"a\xe9", "ae", -124},
      {"a\xe9x", "a\xe9y", -1}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(STR_compare(row.a, row.b), row.difference) << row.a << ' ' << row.b;
    EXPECT_EQ(compare_bytewise(row.a, row.b), row.difference) << row.a << ' ' << row.b;
    EXPECT_EQ(STR_n_compare(row.a, row.b, 100), row.difference) << row.a << ' ' << row.b;
  }
}

TEST(Compare, of_null_is_the_difference_of_the_addresses) {
  const char* s = "text";
  const auto address = static_cast<int32_t>(reinterpret_cast<uintptr_t>(s));
  using Function = int32_t (*)(const char*, const char*);
  const Function n_compare = [](const char* a, const char* b) { return STR_n_compare(a, b, 3); };
  for (const Function function : {Function{STR_compare}, n_compare, Function{STR_abbr_compare}}) {
    EXPECT_EQ(function(nullptr, nullptr), 0);
    EXPECT_EQ(function(s, nullptr), address);
    EXPECT_EQ(function(nullptr, s), static_cast<int32_t>(0u - static_cast<uint32_t>(address)));
  }
}

TEST(Compare, over_n_characters_looks_at_the_first_one_at_least) {
  // clang-format off
  const struct { int64_t n; int32_t difference; } rows[] = {
      {-1, 0}, {0, 0}, {1, 0}, {2, 0}, {3, -1}, {9, -1}};
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(STR_n_compare("abc", "abd", row.n), row.difference) << row.n;
  EXPECT_EQ(STR_n_compare("a", "b", 0), -1);
  EXPECT_EQ(STR_n_compare("ab", "ab\0x", 9), 0);
}

TEST(Abbr, accepts_what_lies_between_the_shortest_form_and_the_whole_word) {
  // clang-format off
  const struct { const char *word, *pattern; int32_t accepted; } rows[] = {
      {"fr", "fr*ame", 1}, {"fra", "fr*ame", 1}, {"frame", "fr*ame", 1}, {"f", "fr*ame", 0},
      {"frx", "fr*ame", 0}, {"frames", "fr*ame", 0}, {"", "fr*ame", 0}, {"frame", "frame", 1},
      {"fram", "frame", 0}, {"frames", "frame", 0}, {"", "", 1}, {"", "*ame", 1}, {"frame", "frame*", 1},
      {"frames", "frame*", 0}, {"fr*", "fr*ame", 0}, {nullptr, "fr*ame", 0}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(STR_abbr(row.word, row.pattern), row.accepted) << (row.word ? row.word : "null") << row.pattern;
  }
}

TEST(Abbr, ordering_skips_the_star_where_the_texts_differ) {
  // clang-format off
  const struct { const char *a, *b; int32_t difference; } rows[] = {
      {"frame", "fr*ame", 0}, {"fr*ame", "frame", 0}, {"fr*ame", "fr*ame", 0}, {"fr*", "fr", 0},
      {"*fr", "**fr", 0}, {"fr*b", "fra", 1}, {"fra", "fr*b", -1}, {"fr", "fr*ame", -'a'},
      {"a\xe9", "a*b", -23 - 'b'}, {"", "*", 0}};
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(STR_abbr_compare(row.a, row.b), row.difference) << row.a << row.b;
}

}  // namespace orb::testing
