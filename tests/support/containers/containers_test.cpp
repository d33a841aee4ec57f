// Memory in pieces, lists with a cursor, records that are used again.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "orbbase/support/containers/arena.h"
#include "orbbase/support/containers/list.h"
#include "orbbase/support/containers/pool.h"
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

TEST(Arena, makes_room_for_pieces_and_copies_of_texts_of_any_size) {
  Arena arena(0);
  void* start = arena.take(0);
  EXPECT_NE(start, nullptr) << "an address for no bytes, even before the first piece";
  EXPECT_EQ(arena.take(8), start);
  for (const uint64_t bytes : {500u, 64u, 65u, 512u, 1u, 100000u, 63u}) {
    void* piece = arena.take(bytes);
    ASSERT_NE(piece, nullptr);
    std::memset(piece, 0xff, bytes);  // under the address sanitizer a short block would show
  }
  const std::string longer(1000, 'x');
  const char* copies[] = {arena.copy_text("a"), arena.copy_text(""), arena.copy_text(longer.c_str())};
  EXPECT_STREQ(copies[0], "a");
  EXPECT_STREQ(copies[1], "");
  EXPECT_EQ(copies[2], longer);
  EXPECT_EQ(arena.copy_text(nullptr), nullptr);
  arena.release();
  EXPECT_STREQ(arena.copy_text("again"), "again");
}

TEST(Arena, refuses_sizes_that_no_memory_holds_and_goes_on_where_it_was) {
  ReportRecorder recorder;
  Arena arena(64);
  char* first = static_cast<char*>(arena.take(8));
  for (uint64_t less = 0; less < 20; ++less) EXPECT_EQ(arena.take(UINT64_MAX - less), nullptr) << less;
  EXPECT_EQ(arena.take(UINT32_MAX), nullptr);
  EXPECT_EQ(recorder.reports.size(), 21u);
  EXPECT_EQ(arena.take(8), first + 8);
}

struct Letter : ListNode {
  char letter = '?';
};

// A list of the letters a, b, c...
struct Letters {
  explicit Letters(int count) {
    for (int i = 0; i < 5; ++i) nodes[i].letter = static_cast<char>('a' + i);
    for (int i = 0; i < count; ++i) list.append(&nodes[i]);
  }
  // What a walk from the cursor on finds.
  std::string rest() {
    std::string letters;
    while (const Letter* node = list.next()) letters += node->letter;
    return letters;
  }
  std::string all() {
    list.rewind();
    return rest();
  }
  Letter nodes[5];
  ListOf<Letter> list;
};

TEST(List, loses_a_node_anywhere_and_a_walk_that_stands_there_goes_on_behind_it) {
  for (int count = 1; count <= 4; ++count) {
    for (int gone = 0; gone < count; ++gone) {
      for (int walked = 0; walked <= count; ++walked) {
        SCOPED_TRACE(::testing::Message() << count << " nodes, " << gone << " removed after " << walked);
        Letters letters(count);
        letters.list.rewind();
        for (int i = 0; i < walked; ++i) letters.list.next();
        letters.list.remove(&letters.nodes[gone]);
        std::string left = std::string("abcd").substr(0, static_cast<size_t>(count));
        const std::string behind = left.substr(static_cast<size_t>(walked));
        const auto without = [&](std::string text) {
          std::erase(text, static_cast<char>('a' + gone));
          return text;
        };
        EXPECT_EQ(letters.rest(), without(behind));
        EXPECT_EQ(letters.all(), without(left));
        EXPECT_EQ(letters.list.count(), count - 1);
        letters.list.append(&letters.nodes[4]);  // "e"; the tail is right only if this is found
        EXPECT_EQ(letters.all(), without(left) + "e");
      }
    }
  }
}

TEST(List, goes_on_where_a_saved_position_was_has_no_strangers_and_is_emptied_in_order) {
  Letters letters(3);
  letters.list.rewind();
  letters.list.next();
  ListNode* const position = letters.list.position();
  Letter stranger;
  letters.list.remove(&stranger);
  EXPECT_EQ(letters.all(), "abc");
  letters.list.set_position(position);
  EXPECT_EQ(letters.rest(), "bc");
  letters.list.rewind();
  std::string taken;
  while (const Letter* node = letters.list.take_first()) taken += node->letter;
  EXPECT_EQ(taken, "abc");
  EXPECT_TRUE(!letters.list.head() && !letters.list.tail() && !letters.list.next());
  EXPECT_EQ(letters.list.count(), 0);
}

constexpr uint64_t kBytes = 24;

TEST(Pool, hands_out_again_what_it_was_given_before_it_allocates) {
  for (const uint64_t bytes : {uint64_t{0}, uint64_t{1}, kBytes}) {  // some are smaller than a link
    Pool pool;
    std::set<void*> first, again;
    for (int i = 0; i < 3; ++i) first.insert(pool.take(bytes));
    EXPECT_EQ(first.size(), 3u);
    for (void* record : first) pool.give(record);  // under the address sanitizer a short block would show
    pool.give(nullptr);
    ReportRecorder recorder;
    const FailAllocation fail(1);
    for (int i = 0; i < 3; ++i) again.insert(pool.take(bytes));
    EXPECT_EQ(again, first);
    EXPECT_FALSE(fail.happened());
    EXPECT_EQ(pool.take(bytes), nullptr);
    EXPECT_EQ(recorder.texts(), "No more internal memory");
    for (void* record : again) {
      std::memset(record, 0xff, bytes);
      ERR_free(record);
    }
  }
}

}  // namespace
}  // namespace orb::testing
