#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>

#include "tests/str/text.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

using Texts = std::vector<std::string>;

// Behind the text's own zero lies a word that must not be found.
Texts words_of(std::string text) {
  text.append("\0beyond", 7);
  malloced<char*> words(STR_parse(text.data()));
  Texts all;
  for (char** word = words.get(); *word; ++word) all.push_back(*word);
  return all;
}

Texts sorted(Texts texts, char** (*sort)(char**)) {
  std::vector<char*> array;
  for (std::string& text : texts) array.push_back(text.data());
  array.push_back(nullptr);
  EXPECT_EQ(sort(array.data()), array.data());
  return {array.begin(), array.end() - 1};
}

}  // namespace

TEST(Parse, gives_the_words_between_white_space) {
  // clang-format off
  const struct { const char* text; Texts words; } rows[] = {
      {"  a bb  c ", {"a", "bb", "c"}}, {"", {}}, {" \t\n", {}}, {"a", {"a"}},
      {"a\tb\nc\vd\fe\rf", {"a", "b", "c", "d", "e", "f"}}, {"\xa0\xe9 \xff", {"\xa0\xe9", "\xff"}}};
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(words_of(row.text), row.words) << row.text;
}

TEST(Parse, has_no_most_number_of_words) {
  for (const size_t count : {63, 64, 65, 1000}) {
    std::string text;
    for (size_t i = 0; i < count; ++i) text += std::to_string(i) + " ";
    const Texts words = words_of(text);
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

TEST(Sort, orders_by_signed_characters_at_every_length) {
  EXPECT_EQ(sorted({"b", "\xe9", "", "a", "ab", "B", "a"}, STR_sort),
            (Texts{"\xe9", "", "B", "a", "a", "ab", "b"}));
  uint32_t random = 7;
  Texts texts;
  for (size_t length = 0; length < 40; ++length) {
    Texts expected = texts;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(sorted(texts, STR_sort), expected) << length;
    random = random * 1664525 + 1013904223;
    texts.push_back(std::to_string(random >> 26));
  }
}

// Worked out by hand: the heap is built from the middle down, and the larger child moves up only past a
// smaller element.
TEST(Sort, moves_equal_strings_as_its_heap_does) {
  char x[] = "x\0x\0x\0a";
  char* array[] = {x, x + 2, x + 4, x + 6, nullptr};
  STR_sort(array);
  EXPECT_EQ(std::vector<char*>(array, array + 5), (std::vector<char*>{x + 6, x + 4, x + 2, x, nullptr}));
}

TEST(Sort, collates_as_the_locale_does) {
  Texts texts = {"b", "\xe9", "A", "a", "B"};
  for (const char* locale : {"C", ""}) {  // the latter the environment's, whatever it is
    std::setlocale(LC_COLLATE, locale);
    Texts expected = texts;
    std::sort(expected.begin(), expected.end(), [](const std::string& a, const std::string& b) {
      return std::strcoll(a.c_str(), b.c_str()) < 0;
    });
    EXPECT_EQ(sorted(texts, STR_sort_collate), expected);
  }
  std::setlocale(LC_COLLATE, "C");
}

}  // namespace orb::testing
