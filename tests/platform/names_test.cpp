#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "orbbase/platform/platform.h"

namespace orb::testing {
namespace {

TEST(Names, of_user_and_host_are_cut_to_fit_and_terminated) {
  const struct {
    const char* what;
    bool (*ask)(std::span<char>);
  } rows[] = {{"user", platform::user_name}, {"host", platform::host_name}};
  for (const auto& row : rows) {
    char whole[300] = "unset";
    ASSERT_TRUE(row.ask(std::span(whole, sizeof(whole)))) << row.what;
    ASSERT_STRNE(whole, "") << row.what;
    for (size_t bytes = 0; bytes <= std::strlen(whole) + 2; ++bytes) {
      std::vector<char> cut(bytes + 1, '!');  // one byte more than it may touch
      row.ask(std::span(cut.data(), bytes));
      EXPECT_EQ(cut[bytes], '!') << row.what << bytes;
      if (bytes == 0) continue;
      EXPECT_EQ(std::string(cut.data()), std::string(whole).substr(0, bytes - 1)) << row.what;
    }
  }
}

TEST(Time, that_is_local_names_the_moment_that_mktime_gives_back) {
  std::tm fields = {};
  const std::time_t when = 1'000'000'000;
  ASSERT_TRUE(platform::local_time(when, &fields));
  EXPECT_EQ(std::mktime(&fields), when);
}

TEST(Time, without_a_calendar_date_is_refused) {
  std::tm fields = {};
  EXPECT_FALSE(platform::local_time(std::numeric_limits<std::time_t>::max(), &fields));
}

TEST(Time, of_the_monotonic_clock_is_in_nanoseconds) {
  const int64_t start = platform::monotonic_nanoseconds();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const int64_t passed = platform::monotonic_nanoseconds() - start;
  EXPECT_GE(passed, 20'000'000);
  EXPECT_LT(passed, 20'000'000'000);
}

}  // namespace
}  // namespace orb::testing
