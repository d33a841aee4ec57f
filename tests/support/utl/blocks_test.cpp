// The checked allocator: what it says of blocks, bounds and releases.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "orbbase/support/utl.h"
#include "orbbase/support/utl/block_index.h"
#include "orbbase/support/utl/messages.h"
#include "tests/support/fail_allocation.h"

namespace {

using orb::testing::FailAllocation;

constexpr const char* kAsk = "Continue? (y/n)";

// Stands in for the user: takes what is said, and answers every question with one word.
class User {
 public:
  explicit User(const char* answer = "y\n") : out_(std::tmpfile()), in_(std::tmpfile()) {
    for (int i = 0; i < 100; ++i) std::fputs(answer, in_);
    std::rewind(in_);
    orb::utl::redirect(out_, in_);
  }
  ~User() {
    orb::utl::redirect(nullptr, nullptr);
    std::fclose(out_);
    std::fclose(in_);
  }
  User(const User&) = delete;
  User& operator=(const User&) = delete;

  // What was said since the last time.
  std::string heard() {
    std::string text;
    std::fseek(out_, read_, SEEK_SET);
    for (int c = std::fgetc(out_); c != EOF; c = std::fgetc(out_)) text += static_cast<char>(c);
    read_ = std::ftell(out_);
    std::fseek(out_, 0, SEEK_END);
    return text;
  }

 private:
  std::FILE* out_;
  std::FILE* in_;
  long read_ = 0;
};

std::string fatal(const char* text) { return std::string("FATAL  : ") + text + "\n" + kAsk; }
std::string warning(const char* text) { return std::string("WARNING: ") + text + "\n"; }

TEST(CheckedBlocks, BoundsAreThoseOfTheBlock) {
  User user;
  auto* block = static_cast<char*>(UTL_malloc(40, 4));
  const struct {
    int64_t offset;
    std::string heard;
  } pointers[] = {
      {0, ""}, {39, ""}, {40, fatal("Ptr exceeds upper bound.")}, {-1, fatal("Ptr exceeds lower bound.")}};
  for (const auto& c : pointers) {
    char* pointer = reinterpret_cast<char*>(reinterpret_cast<intptr_t>(block) + c.offset);
    EXPECT_EQ(UTL_check_pointer(block, pointer), pointer);
    EXPECT_EQ(user.heard(), c.heard) << c.offset;
  }
  const struct {
    int32_t index;
    std::string heard;
  } indexes[] = {{9, ""},
                 {10, fatal("Ptr exceeds upper bound.")},
                 {-1, fatal("Ptr exceeds lower bound.")},
                 {INT32_MAX, fatal("Ptr exceeds upper bound.")}};
  for (const auto& c : indexes) {
    EXPECT_EQ(UTL_check_index(block, c.index), c.index);
    EXPECT_EQ(user.heard(), c.heard) << c.index;
  }
}

TEST(CheckedBlocks, SizesThatAreNoMultipleAreQuestioned) {
  User user;
  EXPECT_NE(UTL_malloc(10, 4), nullptr);
  EXPECT_EQ(user.heard(), fatal("Module not a multiple of size in malloc."));
  EXPECT_NE(UTL_malloc(10, 0), nullptr);
  EXPECT_EQ(user.heard(), "");
}

TEST(CheckedBlocks, ReleasedTwiceIsReported) {
  User user;
  void* block = UTL_malloc(8, 8);
  EXPECT_EQ(UTL_free(block), 0);
  EXPECT_EQ(user.heard(), "");
  EXPECT_EQ(UTL_check_index(block, 0), 0);  // still known
  EXPECT_EQ(UTL_free(block), 0);
  EXPECT_EQ(user.heard(), warning("Ptr previously freed."));
}

TEST(CheckedBlocks, UnknownBasesAreReportedByEveryCall) {
  User user;
  char stranger[4];
  const std::string unknown = warning("Base pointer not in database.");
  UTL_free(stranger);
  EXPECT_EQ(user.heard(), unknown);
  EXPECT_EQ(UTL_check_pointer(stranger, stranger + 1), stranger + 1);
  EXPECT_EQ(user.heard(), unknown);
  EXPECT_EQ(UTL_check_index(nullptr, 1), 1);
  EXPECT_EQ(user.heard(), unknown);
  EXPECT_EQ(UTL_realloc(stranger, 10, 1), stranger);
  EXPECT_EQ(user.heard(), unknown);
}

TEST(CheckedBlocks, ResizedBlocksAreKnownUnderTheirNewBase) {
  User user;
  void* block = UTL_malloc(16, 1);
  UTL_free(block);
  void* moved = UTL_realloc(block, 1 << 20, 2);
  EXPECT_EQ(UTL_check_index(moved, (1 << 19) - 1), (1 << 19) - 1);
  EXPECT_EQ(user.heard(), "");
  UTL_free(moved);  // live again since it was resized
  EXPECT_EQ(user.heard(), "");
  UTL_check_index(moved, 1 << 19);
  EXPECT_EQ(user.heard(), fatal("Ptr exceeds upper bound."));
}

TEST(CheckedBlocks, DeniedMemoryIsAQuestionAndANull) {
  User user;
  void* block = UTL_malloc(16, 1);
  {
    const FailAllocation fault(1);
    EXPECT_EQ(UTL_malloc(16, 1), nullptr);
  }
  EXPECT_EQ(user.heard(), fatal("malloc has denied memory request."));
  {
    const FailAllocation fault(1);
    EXPECT_EQ(UTL_realloc(block, 64, 1), nullptr);
  }
  EXPECT_EQ(user.heard(), fatal("Ptr request denied in realloc."));
  EXPECT_EQ(UTL_check_index(block, 15), 15);
  EXPECT_EQ(user.heard(), "");
}

// More blocks than the table first holds.
void expect_many_are_found(uint32_t count) {
  User user;
  std::vector<void*> blocks;
  for (uint32_t i = 1; i <= count; ++i) blocks.push_back(UTL_malloc(4 * i, 4));
  for (uint32_t i = 1; i <= count; i += 7) UTL_check_index(blocks[i - 1], static_cast<int32_t>(i) - 1);
  EXPECT_EQ(user.heard(), "");
  UTL_check_index(blocks[count / 2], static_cast<int32_t>(count / 2) + 1);
  EXPECT_EQ(user.heard(), fatal("Ptr exceeds upper bound."));
}

TEST(CheckedBlocks, ManyBlocksAreFound) { expect_many_are_found(20000); }

TEST(CheckedBlocks, ManyBlocksAreFoundThoughTheIndexGotNoMemory) {
  {
    const FailAllocation fault(3);  // behind the block and the table
    UTL_malloc(1, 1);
    ASSERT_TRUE(fault.happened());
  }
  expect_many_are_found(2000);
}

#if GTEST_HAS_DEATH_TEST
TEST(CheckedBlocksDeathTest, AnythingButYesAborts) {
  for (const char* answer : {"n\n", "\n", "", " y\n"}) {
    EXPECT_DEATH(
        {
          User user(answer);
          UTL_malloc(10, 4);
        },
        "")
        << answer;
  }
  User user("Yes, please\n");
  UTL_malloc(10, 4);
}
#endif

TEST(CheckedBlocks, of_no_bytes_are_blocks_too) {
  void* const block = UTL_malloc(0, 4);
  ASSERT_NE(block, nullptr);
  void* const moved = UTL_realloc(block, 0, 4);
  EXPECT_NE(moved, nullptr);
  EXPECT_EQ(UTL_free(moved), 0);
}

TEST(BlockIndex, keeps_the_first_entry_of_a_base_until_it_goes) {
  static orb::utl::BlockIndex index;  // never given back
  const char bases[600] = {};
  EXPECT_EQ(index.find(bases), index.kNone);
  index.remove(bases);
  for (uint32_t i = 0; i < 500; ++i) index.insert(bases + i, i);
  index.insert(bases + 7, 1000);
  index.insert(nullptr, 5);
  EXPECT_EQ(index.find(nullptr), index.kNone);
  for (uint32_t i = 0; i < 500; i += 2) index.remove(bases + i);
  index.remove(bases + 550);
  index.remove(nullptr);
  for (uint32_t i = 0; i < 600; ++i) {
    EXPECT_EQ(index.find(bases + i), i < 500 && i % 2 != 0 ? i : index.kNone) << i;
  }
  for (uint32_t i = 500; i < 600; ++i) index.insert(bases + i, i);  // in larger room, without those that went
  EXPECT_EQ(index.find(bases + 599), 599u);
  EXPECT_EQ(index.find(bases + 499), 499u);
}

}  // namespace
