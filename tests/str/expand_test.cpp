#include <gtest/gtest.h>

#include "tests/str/text.h"
#include "tests/support/environment.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

// The expansion, or the name of the missing variable behind a "?".
std::string expanded(const std::string& text) {
  char* out = nullptr;
  const bool is_done = STR_expand_filename(text.c_str(), &out) != 0;
  return (is_done ? "" : "?") + take(out);
}

}  // namespace

TEST(Expand, replaces_variables_and_names_the_one_that_is_not_set) {
  const Environment dir("ORB_TEST_DIR", "/pictures");
  const Environment digit("ORB_TEST_2", "two");
  const Environment unset("ORB_TEST_UNSET", nullptr);
  // clang-format off
  const struct { const char *text, *result; } rows[] = {
      {"", ""}, {"plain name ", "plain name "}, {" \t name", "name"}, {"$ORB_TEST_DIR/x", "/pictures/x"},
      {"${ORB_TEST_DIR}x", "/picturesx"}, {"a$ORB_TEST_2.b", "atwo.b"},
      {"$ORB_TEST_2$ORB_TEST_DIR", "two/pictures"}, {"$ORB_TEST_UNSET/x", "?ORB_TEST_UNSET"},
      {"a${ORB_TEST_UNSET}", "?ORB_TEST_UNSET"}, {"cost: 5$", "?"}, {"$$", "?"}, {"${}", "?"},
      {"${ORB_TEST_DIR", "/pictures"}, {"${ORB_TEST_DIR/x", "/pictures/x"}};
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(expanded(row.text), row.result) << row.text;
}

TEST(Expand, has_no_most_length_for_names_values_and_results) {
  const std::string name = "ORB_TEST_" + std::string(5000, 'N');
  const std::string value(9000, 'v');
  const Environment set(name.c_str(), value.c_str());
  EXPECT_EQ(expanded("$" + name + "/${" + name + "}"), value + "/" + value);
  EXPECT_EQ(expanded("$X" + name), "?X" + name);
  for (int nth = 1; nth <= 3; ++nth) {
    const FailAllocation fail(nth);
    EXPECT_EQ(expanded("a/$" + name), "?(null)") << nth;
  }
  EXPECT_EQ(expanded(std::string(100000, 'x')), std::string(100000, 'x'));
  for (const size_t length : {254, 255, 256, 257, 511, 512, 513}) {
    EXPECT_EQ(expanded(std::string(length, 'y')), std::string(length, 'y'));
  }
}

}  // namespace orb::testing
