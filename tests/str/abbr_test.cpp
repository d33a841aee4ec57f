#include <gtest/gtest.h>

#include "orbbase/str.h"

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
