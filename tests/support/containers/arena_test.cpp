#include "orbbase/support/containers/arena.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "orbbase/support/err.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

TEST(Arena, has_blocks_of_its_size_rounded_up_and_a_link) {
  const struct {
    int32_t size;
    uint64_t block_bytes;
  } rows[] = {{INT32_MIN, 512}, {-1, 512},      {0, 512},
              {7, 512},         {8, 16},        {9, 24},
              {16834, 16848},   {16840, 16848}, {INT32_MAX, 2147483656}};
  for (const auto& row : rows) EXPECT_EQ(Arena(row.size).block_bytes(), row.block_bytes) << row.size;
}

TEST(Arena, serves_pieces_side_by_side_at_multiples_of_8_until_its_block_is_full) {
  ReportRecorder recorder;
  Arena arena(40);
  char* first = static_cast<char*>(arena.take(1));
  const struct {
    uint64_t bytes;
    ptrdiff_t from_first;
  } rows[] = {{0, 8}, {8, 8}, {9, 16}, {0, 32}, {8, 32}, {0, 40}};
  EXPECT_EQ(reinterpret_cast<uintptr_t>(first) % 8, 0u);
  {
    const FailAllocation fail(1);
    for (const auto& row : rows)
      EXPECT_EQ(static_cast<char*>(arena.take(row.bytes)) - first, row.from_first) << row.bytes;
    EXPECT_FALSE(fail.happened());
    EXPECT_EQ(arena.take(1), nullptr) << "the block had more room than its size";
  }
  EXPECT_NE(arena.take(1), nullptr);
}

TEST(Arena, gives_an_address_for_no_bytes_even_before_its_first_piece) {
  Arena arena(0);
  void* start = arena.take(0);
  EXPECT_NE(start, nullptr);
  EXPECT_EQ(arena.take(8), start);
}

TEST(Arena, makes_room_for_pieces_of_any_size) {
  Arena arena(64);
  for (const uint64_t bytes : {56u, 64u, 65u, 72u, 1u, 100000u, 63u}) {
    void* piece = arena.take(bytes);
    ASSERT_NE(piece, nullptr);
    std::memset(piece, 0xff, bytes);  // under the address sanitizer a short block would show
  }
}

TEST(Arena, keeps_copies_of_texts) {
  Arena arena(16);
  const std::string longer(1000, 'x');
  const char* copies[] = {arena.copy_text("a"), arena.copy_text(""), arena.copy_text(longer.c_str())};
  EXPECT_STREQ(copies[0], "a");
  EXPECT_STREQ(copies[1], "");
  EXPECT_EQ(copies[2], longer);
  EXPECT_EQ(arena.copy_text(nullptr), nullptr);
}

TEST(Arena, refuses_sizes_that_no_memory_holds_and_goes_on_where_it_was) {
  ReportRecorder recorder;
  Arena arena(64);
  char* first = static_cast<char*>(arena.take(8));
  for (const uint64_t bytes : {UINT64_MAX, UINT64_MAX - 7, UINT64_MAX - 8, UINT64_MAX - 15, UINT64_MAX - 16,
                               UINT64_MAX - 17, uint64_t{UINT32_MAX}}) {
    recorder.clear();
    EXPECT_EQ(arena.take(bytes), nullptr) << bytes;
    EXPECT_EQ(recorder.texts(), "No more internal memory") << bytes;
  }
  EXPECT_EQ(arena.take(8), first + 8);
}

TEST(Arena, survives_the_failure_of_any_allocation) {
  for (int nth = 1;; ++nth) {
    ReportRecorder recorder;
    Arena arena(16);
    const FailAllocation fail(nth);
    int refused = 0;
    for (int i = 0; i < 3; ++i) refused += arena.copy_text("sixteen bytes ..") == nullptr;
    if (!fail.happened()) {
      EXPECT_EQ(refused, 0);
      EXPECT_GT(nth, 3);
      break;
    }
    EXPECT_EQ(refused, 1) << nth;
    EXPECT_EQ(recorder.texts(), "No more internal memory") << nth;
  }
}

TEST(Arena, may_be_used_again_after_its_release) {
  Arena arena(16);
  EXPECT_NE(arena.copy_text("first"), nullptr);
  arena.release();
  EXPECT_STREQ(arena.copy_text("second"), "second");
}

}  // namespace
}  // namespace orb::testing
