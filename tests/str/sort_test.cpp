#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <string>
#include <vector>

#include "orbbase/str.h"

namespace {

using Texts = std::vector<std::string>;

// The null-terminated array of the texts' own characters.
std::vector<char*> array_of(Texts& texts) {
  std::vector<char*> array;
  for (std::string& text : texts) array.push_back(text.data());
  array.push_back(nullptr);
  return array;
}

Texts sorted(Texts texts, char** (*sort)(char**)) {
  std::vector<char*> array = array_of(texts);
  EXPECT_EQ(sort(array.data()), array.data());
  return {array.begin(), array.end() - 1};
}

}  // namespace

TEST(Sort, orders_by_signed_characters_at_every_length) {
  EXPECT_EQ(sorted({"b", "\xe9", "", "a", "ab", "B", "a"}, STR_sort),
            (Texts{"\xe9", "", "B", "a", "a", "ab", "b"}));
  uint32_t random = 7;
  for (size_t length = 0; length < 40; ++length) {
    Texts texts;
    for (size_t i = 0; i < length; ++i) {
      random = random * 1664525 + 1013904223;
      texts.push_back(std::to_string(random >> 26));
    }
    Texts expected = texts;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(sorted(texts, STR_sort), expected) << length;
  }
}

// Worked out by hand: the heap is built from the middle down, and the larger child moves up only past a
// smaller element.
TEST(Sort, moves_equal_strings_as_its_heap_does) {
  Texts texts = {"x", "x", "x", "a"};
  std::vector<char*> array = array_of(texts);
  const std::vector<char*> before = array;
  STR_sort(array.data());
  EXPECT_EQ(array, (std::vector<char*>{before[3], before[2], before[1], before[0], nullptr}));
}

TEST(Sort, collates_as_the_locale_does) {
  const Texts texts = {"b", "\xe9", "A", "a", "B"};
  std::setlocale(LC_COLLATE, "C");
  EXPECT_EQ(sorted(texts, STR_sort_collate), (Texts{"A", "B", "a", "b", "\xe9"}));
  std::setlocale(LC_COLLATE, "");  // the environment's, whatever it is
  Texts expected = texts;
  std::sort(expected.begin(), expected.end(), [](const std::string& a, const std::string& b) {
    return std::strcoll(a.c_str(), b.c_str()) < 0;
  });
  EXPECT_EQ(sorted(texts, STR_sort_collate), expected);
  std::setlocale(LC_COLLATE, "C");
}
