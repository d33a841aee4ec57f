#include "orbbase/support/containers/pool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "orbbase/support/err.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

constexpr uint64_t kBytes = 24;

TEST(Pool, hands_out_again_what_it_was_given_before_it_allocates) {
  Pool pool;
  std::set<void*> first;
  for (int i = 0; i < 3; ++i) {
    void* record = pool.take(kBytes);
    ASSERT_NE(record, nullptr);
    std::memset(record, 0xff, kBytes);
    first.insert(record);
  }
  EXPECT_EQ(first.size(), 3u);
  for (void* record : first) pool.give(record);
  pool.give(nullptr);
  std::set<void*> again;
  {
    const FailAllocation fail(1);
    for (int i = 0; i < 3; ++i) again.insert(pool.take(kBytes));
    EXPECT_FALSE(fail.happened());
  }
  EXPECT_EQ(again, first);
  for (void* record : again) ERR_free(record);
}

TEST(Pool, of_records_smaller_than_a_link_still_chains_them) {
  Pool pool;
  void* records[2] = {pool.take(1), pool.take(0)};
  for (void* record : records) pool.give(record);  // under the address sanitizer a short block would show
  for (int i = 0; i < 2; ++i) ERR_free(pool.take(1));
}

TEST(Pool, without_memory_gives_null_and_a_report_and_works_afterwards) {
  ReportRecorder recorder;
  Pool pool;
  {
    const FailAllocation fail(1);
    EXPECT_EQ(pool.take(kBytes), nullptr);
  }
  EXPECT_EQ(recorder.texts(), "No more internal memory");
  void* record = pool.take(kBytes);
  EXPECT_NE(record, nullptr);
  ERR_free(record);
}

}  // namespace
}  // namespace orb::testing
