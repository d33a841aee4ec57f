// The checked allocator.
#include <algorithm>
#include <cstring>
#include <string>

#include "tests/support/err/fresh_errors.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

class Memory : public FreshErrors {};

TEST_F(Memory, that_runs_out_is_reported_once_by_each_way_to_ask_for_it) {
  void* block = ERR_malloc(4);
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "kept", 4);
  const struct {
    const char* what;
    void* (*ask)(void* block);
  } rows[] = {{"malloc", [](void*) { return ERR_malloc(8); }},
              {"zalloc", [](void*) { return ERR_zalloc(8); }},
              {"realloc", [](void* old) { return ERR_realloc(old, 1 << 20); }},
              {"new realloc", [](void*) { return ERR_realloc(nullptr, 8); }},
              {"allocate", [](void*) { return allocate(8); }},
              {"zeroed", [](void*) { return allocate_zeroed(2, 8); }}};
  for (const auto& row : rows) {
    ReportRecorder recorder;
    const FailAllocation fail(1);
    EXPECT_EQ(row.ask(block), nullptr) << row.what;
    ASSERT_EQ(recorder.reports.size(), 1u) << row.what;
    EXPECT_EQ(recorder.reports[0].text, "No more internal memory");
    EXPECT_EQ(recorder.reports[0].category, ERR_ERROR);
  }
  EXPECT_EQ(std::memcmp(block, "kept", 4), 0);  // a refused realloc leaves the block
  EXPECT_EQ(ERR_free(block), 1);
  EXPECT_EQ(ERR_free(nullptr), 1);
}

TEST_F(Memory, of_a_size_that_no_count_holds_is_refused_like_any_other) {
  constexpr uint64_t kTooLarge = uint64_t{1} << 32;
  const uint64_t rows[][2] = {{kTooLarge, 1}, {1, kTooLarge}, {kTooLarge, kTooLarge}, {3, UINT64_MAX}};
  for (const auto& [count, bytes] : rows) {
    ReportRecorder recorder;
    EXPECT_EQ(allocate_zeroed(count, bytes), nullptr) << count << " x " << bytes;
    EXPECT_EQ(allocate(std::max(count, bytes)), nullptr) << bytes;
    EXPECT_EQ(recorder.texts(), "No more internal memory\nNo more internal memory");
  }
}

TEST_F(Memory, of_no_bytes_is_a_block_all_the_same_and_that_for_records_is_zeroed) {
  const ReportRecorder recorder;
  const owned<char> blocks[] = {owned<char>(static_cast<char*>(allocate(0))), make_zeroed<char>(0),
                                owned<char>(static_cast<char*>(allocate_zeroed(0, 0)))};
  for (const auto& block : blocks) EXPECT_NE(block, nullptr);
  for (int round = 0; round < 2; ++round) {  // the second time on a block that was used
    const owned<uint8_t> bytes = make_zeroed<uint8_t>(1000);
    ASSERT_NE(bytes, nullptr);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(bytes.get()[i], 0);
    std::memset(bytes.get(), 0xff, 1000);
  }
  EXPECT_TRUE(recorder.reports.empty());
}

}  // namespace
}  // namespace orb::testing
