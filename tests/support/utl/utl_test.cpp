// The checked allocator: what it says of blocks, bounds and releases; and the allocation trace.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "orbbase/support/err.h"
#include "orbbase/support/utl.h"
#include "orbbase/support/utl/block_index.h"
#include "orbbase/support/utl/messages.h"
#include "tests/support/environment.h"
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
    int32_t offset, index;  // with the same verdict
    std::string heard;
  } rows[] = {{0, 0, ""},
              {39, 9, ""},
              {40, 10, fatal("Ptr exceeds upper bound.")},
              {INT32_MAX, INT32_MAX, fatal("Ptr exceeds upper bound.")},
              {-1, -1, fatal("Ptr exceeds lower bound.")}};
  for (const auto& row : rows) {
    char* pointer = reinterpret_cast<char*>(reinterpret_cast<intptr_t>(block) + row.offset);
    EXPECT_EQ(UTL_check_pointer(block, pointer), pointer);
    EXPECT_EQ(UTL_check_index(block, row.index), row.index);
    EXPECT_EQ(user.heard(), row.heard + row.heard) << row.offset;
  }
}

TEST(CheckedBlocks, SizesThatAreNoMultipleAreQuestioned) {
  User user;
  EXPECT_NE(UTL_malloc(10, 4), nullptr);
  EXPECT_EQ(user.heard(), fatal("Module not a multiple of size in malloc."));
  EXPECT_NE(UTL_malloc(10, 0), nullptr);
  void* const empty = UTL_malloc(0, 4);  // blocks too
  void* const moved = UTL_realloc(empty, 0, 4);
  EXPECT_TRUE(empty && moved);
  EXPECT_EQ(UTL_free(moved), 0);
  EXPECT_EQ(user.heard(), "");
}

TEST(CheckedBlocks, ReleasedTwiceIsReportedAndResizedOnesAreKnownUnderTheirNewBase) {
  User user;
  void* block = UTL_malloc(16, 8);
  EXPECT_EQ(UTL_free(block), 0);
  EXPECT_EQ(UTL_check_index(block, 0), 0);  // still known
  EXPECT_EQ(user.heard(), "");
  EXPECT_EQ(UTL_free(block), 0);
  EXPECT_EQ(user.heard(), warning("Ptr previously freed."));
  void* moved = UTL_realloc(block, 1 << 20, 2);
  EXPECT_EQ(UTL_check_index(moved, (1 << 19) - 1), (1 << 19) - 1);
  UTL_free(moved);  // live again since it was resized
  EXPECT_EQ(user.heard(), "");
  UTL_check_index(moved, 1 << 19);
  EXPECT_EQ(user.heard(), fatal("Ptr exceeds upper bound."));
}

TEST(CheckedBlocks, UnknownBasesAreReportedByEveryCall) {
  User user;
  char stranger[4];
  UTL_free(stranger);
  EXPECT_EQ(UTL_check_pointer(stranger, stranger + 1), stranger + 1);
  EXPECT_EQ(UTL_check_index(nullptr, 1), 1);
  EXPECT_EQ(UTL_realloc(stranger, 10, 1), stranger);
  const std::string unknown = warning("Base pointer not in database.");
  EXPECT_EQ(user.heard(), unknown + unknown + unknown + unknown);
}

TEST(CheckedBlocks, DeniedMemoryIsAQuestionAndANull) {
  User user;
  void* block = UTL_malloc(16, 1);
  {
    const FailAllocation fault(1, FailAllocation::Mode::from_there_on);
    EXPECT_EQ(UTL_malloc(16, 1), nullptr);
    EXPECT_EQ(UTL_realloc(block, 64, 1), nullptr);
  }
  EXPECT_EQ(user.heard(),
            fatal("malloc has denied memory request.") + fatal("Ptr request denied in realloc."));
  EXPECT_EQ(UTL_check_index(block, 15), 15);
  EXPECT_EQ(user.heard(), "");
}

// More blocks than the table first holds; also when the index got no memory.
class ManyBlocks : public ::testing::TestWithParam<bool> {};

TEST_P(ManyBlocks, AreFound) {
  if (GetParam()) {
    const FailAllocation fault(3);  // behind the block and the table
    UTL_malloc(1, 1);
    ASSERT_TRUE(fault.happened());
  }
  const int32_t count = GetParam() ? 2000 : 20000;
  User user;
  std::vector<void*> blocks;
  for (int32_t i = 1; i <= count; ++i) blocks.push_back(UTL_malloc(static_cast<uint32_t>(4 * i), 4));
  for (size_t i = 0; i < blocks.size(); i += 7) UTL_check_index(blocks[i], static_cast<int32_t>(i));
  EXPECT_EQ(user.heard(), "");
  UTL_check_index(blocks.back(), count);
  EXPECT_EQ(user.heard(), fatal("Ptr exceeds upper bound."));
}
INSTANTIATE_TEST_SUITE_P(Index, ManyBlocks, ::testing::Bool());

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
  for (int i = 0; i < 1'000'000; ++i) {  // as a block that is resized again and again
    index.remove(bases + 1);
    index.insert(bases + 1, 1);
  }
  for (uint32_t i = 500; i < 600; ++i) index.insert(bases + i, i);
  EXPECT_EQ(index.find(bases + 599), 599u);
  EXPECT_EQ(index.find(bases + 499), 499u);
}

// ---- The trace

std::string trace_text() {
  std::ifstream file(".memstat");
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string shown(const void* address) {
  char text[40];
  std::snprintf(text, sizeof text, "%p", address);
  return text;
}

TEST(Trace, WritesALineForEveryCallWhileItIsOn) {
  ERR_free(utl__hooks.allocate(10, "before"));
  ASSERT_EQ(UTL_trace_on(), 1);
  void* block = utl__hooks.allocate(10, "rows");
  const std::string first = shown(block);
  void* moved = utl__hooks.reallocate(block, 100000, "rows");
  const std::string expected = "malloc: ptr " + first + " size 10 name rows\nrealloc: ptr from " + first +
                               " to " + shown(moved) + " size 100000 name rows\nfree: ptr " + shown(moved) +
                               " name: (null)\n";
  EXPECT_EQ(utl__hooks.release(moved, nullptr), 1);
  EXPECT_EQ(UTL_trace_off(), 1);
  EXPECT_EQ(trace_text(), expected);
  utl__hooks.release(utl__hooks.allocate(10, "after"), "after");
  EXPECT_EQ(trace_text(), expected);
}

TEST(Trace, NestsAndEndsWithItsLastCall) {
  EXPECT_EQ(UTL_trace_off(), 1);  // none is on
  UTL_trace_on();
  UTL_trace_on();
  UTL_trace_off();
  utl__hooks.release(utl__hooks.allocate(1, "still traced"), "x");
  UTL_trace_off();
  EXPECT_NE(trace_text().find("still traced"), std::string::npos);
  UTL_trace_on();  // begins a new file
  UTL_trace_off();
  EXPECT_EQ(trace_text(), "");
}

TEST(Trace, FileThatCannotBeMadeIsToldAndTheHooksStillWork) {
  std::filesystem::create_directory(".memstat");
  testing::internal::CaptureStderr();
  EXPECT_EQ(UTL_trace_on(), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), " yow - can't open vm stat file\n");
  EXPECT_EQ(utl__hooks.release(utl__hooks.allocate(1, "x"), "x"), 1);
  EXPECT_EQ(UTL_trace_off(), 1);
}

TEST(Trace, ReportRunsTheToolBehindTheFolder) {
  const orb::testing::Environment environment("QV_BIN_DIR", "echo>>ran ");
  UTL_trace_on();
  utl__hooks.release(utl__hooks.allocate(1, "flushed"), "x");
  EXPECT_EQ(UTL_trace_report(), 1);
  EXPECT_NE(trace_text().find("flushed"), std::string::npos);
  UTL_trace_off();
  std::ifstream ran("ran");
  std::string words;
  std::getline(ran, words);
  EXPECT_EQ(words.substr(0, 13), "tools/memstat");
}

#if GTEST_HAS_DEATH_TEST
TEST(TraceDeathTest, ReportWithoutTheFolderEndsTheProcess) {
  const orb::testing::Environment environment("QV_BIN_DIR", nullptr);
  EXPECT_EXIT(UTL_trace_report(), testing::ExitedWithCode(0),
              "set brightmoor environment variables, please.");
}
#endif

}  // namespace
