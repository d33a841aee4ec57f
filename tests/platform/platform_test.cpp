#include "orbbase/platform/platform.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/fail_allocation.h"
#include "tests/support/load_module.h"

namespace orb::testing {
namespace {

TEST(Names, of_user_and_host_are_cut_to_fit_and_terminated) {
  for (bool (*ask)(std::span<char>) : {platform::user_name, platform::host_name}) {
    char whole[300] = "unset";
    ASSERT_TRUE(ask(std::span(whole)));
    ASSERT_STRNE(whole, "");
    for (size_t bytes = 0; bytes <= std::strlen(whole) + 2; ++bytes) {
      std::vector<char> cut(bytes + 1, '!');  // one byte more than it may touch
      ask(std::span(cut.data(), bytes));
      EXPECT_EQ(cut[bytes], '!') << whole << bytes;
      if (bytes > 0) {
        EXPECT_EQ(std::string(cut.data()), std::string(whole).substr(0, bytes - 1));
      }
    }
  }
}

TEST(Time, that_is_local_names_the_moment_that_mktime_gives_back) {
  std::tm fields = {};
  const std::time_t when = 1'000'000'000;
  ASSERT_TRUE(platform::local_time(when, &fields));
  EXPECT_EQ(std::mktime(&fields), when);
  EXPECT_FALSE(platform::local_time(std::numeric_limits<std::time_t>::max(), &fields)) << "no calendar date";
}

TEST(Time, of_the_monotonic_clock_is_in_nanoseconds) {
  const int64_t start = platform::monotonic_nanoseconds();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const int64_t passed = platform::monotonic_nanoseconds() - start;
  EXPECT_GE(passed, 20'000'000);
  EXPECT_LT(passed, 20'000'000'000);
}

TEST(Mutex, keeps_threads_apart_while_its_owner_takes_it_again) {
  platform::Mutex* mutex = platform::create_mutex();
  ASSERT_NE(mutex, nullptr);
  constexpr int kRounds = 500;
  int rounds = 0;  // plain on purpose: the mutex is what keeps it whole
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        const platform::Lock outer(mutex);
        const int seen = rounds;
        { const platform::Lock inner(mutex); }  // giving back the inner hold must not give back the outer one
        std::this_thread::yield();
        rounds = seen + 1;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  platform::close_mutex(mutex);
  EXPECT_EQ(rounds, 4 * kRounds);
}

TEST(Mutex, is_closed_cleanly_by_a_thread_that_holds_it_any_number_of_times) {
  for (int holds = 0; holds < 4; ++holds) {
    platform::Mutex* mutex = platform::create_mutex();
    ASSERT_NE(mutex, nullptr);
    for (int i = 0; i < holds; ++i) platform::lock(mutex);
    platform::close_mutex(mutex);
  }
  const FailAllocation fail(1);
  platform::Mutex* mutex = platform::create_mutex();
  EXPECT_EQ(mutex == nullptr, fail.happened());
  platform::lock(mutex);  // null where there is nothing to lock
  platform::unlock(mutex);
  platform::close_mutex(mutex);
}

class Files : public ::testing::Test {
 protected:
  int64_t bytes_of_one_line() {
    std::FILE* stream = std::fopen(path, "w");
    if (!stream) return -1;
    std::fputs("\n", stream);
    std::fclose(stream);
    platform::FileStatus status;
    return platform::file_status(path, &status) == 0 ? status.size_bytes : -1;
  }
  const char* const path = "files_test.tmp";
};

TEST_F(Files, opened_in_a_binary_block_are_binary_and_the_mode_before_comes_back) {
  const int64_t before = bytes_of_one_line();
  {
    const platform::BinaryFileMode outer;
    { const platform::BinaryFileMode inner; }
    EXPECT_EQ(bytes_of_one_line(), 1);
  }
  EXPECT_EQ(bytes_of_one_line(), before);
}

TEST_F(Files, show_their_kind_size_and_time_or_give_the_system_s_number) {
  const std::time_t now = std::time(nullptr);
  const platform::BinaryFileMode binary;
  ASSERT_EQ(bytes_of_one_line(), 1);
  platform::FileStatus status;
  ASSERT_EQ(platform::file_status(path, &status), 0);
  EXPECT_TRUE(status.is_regular && !status.is_directory);
  EXPECT_NEAR(static_cast<double>(status.changed_seconds), static_cast<double>(now), 60);
  EXPECT_EQ(platform::file_status("no/such/file", &status), ENOENT);
  EXPECT_EQ(status.size_bytes, 1);
  ASSERT_EQ(platform::file_status(".", &status), 0);
  EXPECT_TRUE(status.is_directory && !status.is_regular);
}

TEST_F(Files, are_positioned_beyond_four_gigabytes) {
  constexpr int64_t kFar = (int64_t{5} << 30) + 3;
  std::FILE* stream = std::fopen(path, "wb");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(platform::seek_stream(stream, kFar, SEEK_SET), 0);
  EXPECT_EQ(platform::tell_stream(stream), kFar);
  EXPECT_EQ(platform::seek_stream(stream, -kFar, SEEK_CUR), 0);
  EXPECT_EQ(platform::tell_stream(stream), 0);
  EXPECT_NE(platform::seek_stream(stream, -1, SEEK_SET), 0);
  std::fclose(stream);
}

class Symbols : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string why;
    module = load_module(TEST_MODULE, &why);
    ASSERT_NE(module, nullptr) << TEST_MODULE << ": " << why;
  }
  void TearDown() override {
    if (module) unload_module(module);
  }
  int call(const char* name) {
    void* address = platform::module_symbol(module, name);
    return address ? reinterpret_cast<int (*)()>(address)() : -1;
  }
  void* module = nullptr;
};

TEST_F(Symbols, of_the_module_itself_are_found_functions_and_data_alike) {
  EXPECT_EQ(call("calls_the_dependency"), 3);
  auto* key = static_cast<const char**>(platform::module_symbol(module, "imageKey"));
  ASSERT_NE(key, nullptr);
  EXPECT_STREQ(*key, "sample");
}

TEST_F(Symbols, of_a_library_that_the_module_was_linked_with_are_not_found) {
  for (const char* name : {"version", "only_in_the_dependency", "malloc", "no_such_symbol", ""})
    EXPECT_EQ(platform::module_symbol(module, name), nullptr) << name;
  EXPECT_EQ(call("defined_by_both"), 1);
  EXPECT_EQ(platform::module_symbol(nullptr, "imageKey"), nullptr);
  EXPECT_EQ(platform::module_symbol(module, nullptr), nullptr);
}

}  // namespace
}  // namespace orb::testing
