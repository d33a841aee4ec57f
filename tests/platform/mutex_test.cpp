#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "orbbase/platform/platform.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

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
}

TEST(Mutex, may_be_null_where_there_is_nothing_to_lock) {
  platform::lock(nullptr);
  platform::unlock(nullptr);
  platform::close_mutex(nullptr);
}

TEST(Mutex, that_cannot_be_allocated_is_null) {
  const FailAllocation fail(1);
  platform::Mutex* mutex = platform::create_mutex();
  EXPECT_EQ(mutex == nullptr, fail.happened());
  platform::close_mutex(mutex);
}

}  // namespace
}  // namespace orb::testing
