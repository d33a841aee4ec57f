#include <gtest/gtest.h>

#include <string>

#include "tests/str/text.h"

namespace orb::testing {

TEST(Hash, has_its_fixed_values) {
  // clang-format off
  const struct { const char* s; uint32_t modulus, hash; } rows[] = {
      {nullptr, 0, 0}, {"", 0, 0}, {"", 1023, 0}, {"a", 1023, 97}, {"ab", 1000, 299}, {"a", 1, 0},
      // Bytes above 127 count as negative: 2^32 - 1, and that times 33 minus 128.
      {"\xff", 4294967295u, 0}, {"\xff", 1000, 295}, {"\xff\x80", 0x80000000u, 0x7fffff5fu},
      // Seven "z" wrap modulo 2^32.
      {"zzzzzzz", 0xffffffffu, 3569023894u}};
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(STR_hash(row.s, row.modulus), row.hash) << row.modulus;
}

TEST(Define, shares_one_copy_among_equal_strings_until_the_last_reference_goes) {
  std::string first = "shared name", second = first;
  char* copy = STR_define(first.c_str());
  ASSERT_STREQ(copy, "shared name");
  EXPECT_NE(copy, first.c_str());
  EXPECT_EQ(STR_define(second.c_str()), copy);
  EXPECT_NE(STR_define("another name"), copy);
  EXPECT_EQ(STR_undefine(second.c_str()), 0);
  EXPECT_EQ(STR_define("shared name"), copy);  // still the one
  STR_undefine(copy);
  STR_undefine(copy);  // the last reference, by the copy's own address
  STR_undefine("another name");
  EXPECT_EQ(STR_undefine("shared name"), 0);  // not there any more
  EXPECT_EQ(STR_undefine("never defined"), 0);
}

TEST(Define, tells_apart_strings_that_share_a_chain_or_a_hash) {
  // "bA" and "ab" hash alike: 98 * 33 + 65 = 97 * 33 + 98. The numbers fill every chain several times.
  ASSERT_EQ(STR_hash("bA", 0xffffffff), STR_hash("ab", 0xffffffff));
  std::vector<std::string> texts = {"", "ab", "bA"};
  for (int i = 0; i < 5000; ++i) texts.push_back(std::to_string(i));
  std::vector<char*> copies;
  for (const std::string& text : texts) copies.push_back(STR_define(text.c_str()));
  for (size_t i = 1; i < texts.size(); i += 2) STR_undefine(texts[i].c_str());
  for (size_t i = 0; i < texts.size(); i += 2) {
    ASSERT_EQ(STR_define(texts[i].c_str()), copies[i]);
    ASSERT_EQ(copies[i], texts[i]);
    STR_undefine(copies[i]);
    STR_undefine(copies[i]);
  }
}

TEST(Define, undefine_array_drops_every_element_and_frees_the_array) {
  char** array = array_grow(nullptr, 0);
  char* const run[] = {STR_define("one"), STR_define("two"), STR_define("one")};
  array = array_append(array, 0, run);
  char* kept = STR_define("one");
  EXPECT_EQ(STR_undefine_array(array), 0);
  EXPECT_STREQ(kept, "one");
  STR_undefine(kept);  // the last of it: the sanitizers see a copy too many or too few
  EXPECT_EQ(STR_undefine_array(nullptr), 0);
}

}  // namespace orb::testing
