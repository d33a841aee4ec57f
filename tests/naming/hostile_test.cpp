// Names, syntaxes and memory that mean no good.
#include <gtest/gtest.h>

#include <random>

#include "tests/naming/built.h"
#include "tests/support/fail_allocation.h"

namespace {

using orb::testing::build;
using orb::testing::Built;

std::string repeated(const std::string& text, size_t count) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

// Each of these takes for ever with plain backtracking, and within a second or two as it is. The time limit is
// the test's own.
TEST(HostileNaming, is_answered_in_bounded_time) {
  const std::string dots = repeated(".", 2000);
  const std::string digits = repeated("1.", 1000);
  const struct {
    std::string syntax;
    std::string name;
    int32_t code;
  } rows[] = {
      {repeated("name.", 1000) + "#.ext", dots, ORB_E_NAME_FIT},
      {repeated("name.", 1000) + "#.ext", digits, ORB_E_NAME_FIT},
      {repeated("name.", 500) + "#name.name,ext", digits, ORB_E_NAME_FIT},
      {repeated("name.", 500) + "name#name.name", dots, ORB_E_NAME_FIT},
      {repeated("name.", 500) + "name#name." + repeated("name.", 450) + "ext", digits + "mem", 0},
      {repeated("name.", 10000) + "#.ext", dots, ORB_E_NAME_FIT},
      {repeated("#", 100000), "7", 0},  // as wide as it is found
      {repeated("#", 100000), "100000000", 0},
  };
  for (const auto& row : rows) {
    const int32_t code = build({row.syntax.c_str(), row.name.c_str(), 5}).code;
    EXPECT_EQ(code, row.code) << row.syntax.substr(0, 20) << " " << row.name.substr(0, 20);
  }
}

TEST(HostileNaming, survives_the_failure_of_any_allocation) {
  const std::string syntax = repeated("name-", 40) + "####.ext";  // more than is done without any
  const std::string name = repeated("shot-", 40) + "7.mem";
  ASSERT_EQ(build({syntax.c_str(), name.c_str(), 12}).code, 0);  // starts the library
  for (const int64_t nth : {1, 2, 3}) {                          // the tokens, and the room of the match
    const orb::testing::FailAllocation fail(nth);
    EXPECT_EQ(build({syntax.c_str(), name.c_str(), 12}).code, nth < 3 ? ORB_E_MEMORY : 0);
    EXPECT_EQ(fail.happened(), nth < 3);
  }
}

// A syntax, and a name that often fits it.
struct Pair {
  std::string syntax;
  std::string name;
};

Pair random_pair(std::mt19937& random) {
  const std::vector<std::string> names = {"", "a", "70.", "-%", "7.e", "0a"}, frames = {"", "0", "7", "0042"};
  Pair pair{"", random() % 2 ? "d/" : ""};
  bool has_frame = false;
  for (size_t left = random() % 6 + 1; left > 0; --left) {
    const std::string separator(1, ".-"[random() % 2]);
    const size_t kind = random() % 4;
    if (kind == 1 && !has_frame) pair.syntax += std::string(random() % 4 + 1, '#');
    if (kind != 1) pair.syntax += kind == 0 ? "name" : separator;
    pair.name += kind == 0 ? names[random() % 6] : kind == 1 ? frames[random() % 4] : separator;
    has_frame = has_frame || kind == 1;
  }
  if (random() % 2) return pair;
  return {pair.syntax + ".ext", pair.name + ".mem"};
}

// What was built for a frame carries that frame, and is built again from itself.
TEST(HostileNaming, builds_names_that_carry_their_frame) {
  std::mt19937 random(20);
  int built_count = 0;
  for (int round = 0; round < 30000; ++round) {
    const auto [syntax, name] = random_pair(random);
    const auto frame = static_cast<int32_t>(random() % 20000);
    const auto keep_width = static_cast<int32_t>(random() % 2);
    const Built first = build({syntax.c_str(), name.c_str(), frame, 0, keep_width});
    const Built pattern = build({syntax.c_str(), name.c_str(), frame, 2, keep_width});
    ASSERT_EQ(first.code, pattern.code);
    if (first.code != 0 || first.frame < 0) continue;
    const Built again = build({syntax.c_str(), first.path.c_str(), -1, 0, keep_width});
    ASSERT_EQ(again.code, 0) << syntax << " " << name << " " << first.path;
    ASSERT_EQ(again.path, first.path) << syntax << " " << name;
    ASSERT_EQ(again.frame, frame) << syntax << " " << name << " " << first.path;
    ++built_count;
  }
  EXPECT_GT(built_count, 1000);
}

}  // namespace
