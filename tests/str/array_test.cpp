#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/str/text.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

// Behind the text's own zero lies a word that must not be found.
std::vector<std::string> words_of(std::string text) {
  text.append("\0beyond", 7);
  malloced<char*> words(STR_parse(text.data()));
  std::vector<std::string> all;
  for (char** word = words.get(); *word; ++word) all.push_back(*word);
  return all;
}

}  // namespace

TEST(Parse, gives_the_words_between_white_space) {
  // clang-format off
  const struct { const char* text; std::vector<std::string> words; } rows[] = {
      {"  a bb  c ", {"a", "bb", "c"}}, {"", {}}, {" \t\n", {}}, {"a", {"a"}},
      {"a\tb\nc\vd\fe\rf", {"a", "b", "c", "d", "e", "f"}}, {"\xa0\xe9 \xff", {"\xa0\xe9", "\xff"}}};
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(words_of(row.text), row.words) << row.text;
}

TEST(Parse, has_no_most_number_of_words) {
  for (const size_t count : {63, 64, 65, 1000}) {
    std::string text;
    for (size_t i = 0; i < count; ++i) text += std::to_string(i) + " ";
    const std::vector<std::string> words = words_of(text);
    ASSERT_EQ(words.size(), count);
    for (size_t i = 0; i < count; ++i) ASSERT_EQ(words[i], std::to_string(i));
  }
}

TEST(Space, is_skipped_and_found_as_the_locale_has_it) {
  EXPECT_STREQ(STR_skip_space(" \t a b"), "a b");
  EXPECT_STREQ(STR_skip_space("  "), "");
  // clang-format off
  const struct { const char *s, *found; } rows[] = {
      {"ab cd", " cd"}, {"abcd", ""}, {" ab c", " c"}, {"  x", " x"}, {"a", ""}, {"\xe9\xa0\x85 x", " x"}};
  // clang-format on
  for (const auto& row : rows) EXPECT_STREQ(STR_find_space(row.s), row.found) << row.s;
  EXPECT_EQ(STR_find_space(nullptr), nullptr);
  EXPECT_STREQ(STR_find_space(""), "");
}

TEST(Array, finds_the_first_and_the_last_equal_string) {
  std::string a = "a", b = "b", b2 = "b";
  char* array[] = {a.data(), b.data(), a.data(), b2.data(), nullptr};
  EXPECT_EQ(STR_find_string(array, "b"), array + 1);
  EXPECT_EQ(STR_find_string_reverse(array, "b"), array + 3);
  EXPECT_EQ(STR_find_string(array, "c"), nullptr);
  EXPECT_EQ(STR_find_string_reverse(array, "c"), nullptr);
  char* none[] = {nullptr};
  EXPECT_EQ(STR_find_string(none, "a"), nullptr);
  EXPECT_EQ(STR_find_string_reverse(none, "a"), nullptr);

  // By identity an equal string elsewhere does not count.
  EXPECT_EQ(array_find(array, b2.data()), array + 3);
  EXPECT_EQ(array_find(array, a.data()), array);
  EXPECT_EQ(array_find_last(array, a.data()), array + 2);
  EXPECT_EQ(array_index(array, a.data()), 0);
  EXPECT_EQ(array_index(array, "a"), -1);
}

TEST(Array, keeps_its_strings_when_it_cannot_grow) {
  char* const run[] = {STR_save("x"), STR_save("y")};
  char** array = array_append(nullptr, 0, run);
  EXPECT_EQ(array_grow(array, SIZE_MAX), nullptr);
  const FailAllocation fail(1);
  EXPECT_EQ(array_append(array, 2, run), nullptr);
  EXPECT_EQ(array_count(array), 2u);
  array_free(array);
}

}  // namespace orb::testing
