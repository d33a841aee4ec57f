#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <string>
#include <vector>

#include "orbbase/str.h"

namespace {

using Texts = std::vector<std::string>;

Texts sorted(Texts texts, char** (*sort)(char**)) {
  std::vector<char*> array;
  for (std::string& text : texts) array.push_back(text.data());
  array.push_back(nullptr);
  EXPECT_EQ(sort(array.data()), array.data());
  return {array.begin(), array.end() - 1};
}

}  // namespace

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
