// Which format a file is in.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "orbbase/core/internal.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::Description;
using orb::testing::FailAllocation;
using orb::testing::Plugins;
using orb::testing::ReportRecorder;

constexpr int kCannotBeAsked = -1;

// What the plug-ins answer, how often each was asked, and what about.
struct Answers {
  std::array<int, 3> now = {};
  std::array<int, 3> asked = {};
  const char* name = nullptr;
  FILE* stream = nullptr;
} answers;

template <int plugin>
uint8_t answer(const char* name, FILE* stream) {
  ++answers.asked[plugin];
  answers.name = name;
  answers.stream = stream;
  return static_cast<uint8_t>(answers.now[plugin]);
}

class Detect : public testing::Test {
 protected:
  // Makes the plug-ins answer so, and puts the walk behind the first of them.
  void set(std::array<int, 3> now) {
    answers = {now};
    const char* keys[] = {"good", "other", "multi"};
    const ORB_IS_FILE_FN functions[] = {answer<0>, answer<1>, answer<2>};
    for (int i = 0; i < 3; ++i) {
      ORB_find(keys[i])->is_file = now[i] == kCannotBeAsked ? nullptr : functions[i];
    }
    ORB_init(nullptr, nullptr);
    ORB_info();
  }
  // "1 1 0": how often each plug-in was asked since the last call.
  std::string asked() {
    std::string text;
    for (int& count : answers.asked) text += (text.empty() ? "" : " ") + std::to_string(count);
    answers.asked = {};
    return text;
  }
  static const char* next() {
    const ORB_FORMAT* format = ORB_info();
    return format ? format->key : "end";
  }

  Plugins plugins_{"good", "other", "multi"};
  int32_t known_ = 7;
};

TEST_F(Detect, takes_the_first_format_that_answers_exactly_1) {
  const struct {
    std::array<int, 3> now;
    const char* key;
    int32_t is_known;
    const char* next;
  } rows[] = {{{0, 0, 0}, "__none_", 1, "other"},
              {{2, 255, 3}, "__none_", 1, "other"},
              {{0, 0, kCannotBeAsked}, nullptr, 0, "other"},
              {{2, 1, 1}, "other", 1, "multi"},
              {{kCannotBeAsked, 0, 1}, "multi", 0, "end"},
              {{1, kCannotBeAsked, 0}, "good", 1, "other"}};
  for (const auto& row : rows) {
    set(row.now);
    EXPECT_STREQ(ORB_get_file_type("nosuch", nullptr, &known_), row.key) << row.now[0];
    EXPECT_EQ(known_, row.is_known) << row.now[0];
    EXPECT_STREQ(next(), row.next) << row.now[0];
  }
  EXPECT_STREQ(ORB_get_file_type("nosuch", stderr, nullptr), "good");
  EXPECT_STREQ(answers.name, "nosuch");
  EXPECT_EQ(answers.stream, stderr);
}

TEST_F(Detect, of_one_format_takes_any_answer_but_0) {
  const struct {
    const char* key;
    std::array<int, 3> now;
    const char* found;
    int32_t is_known;
    const char* asked;
    const char* next;
  } rows[] = {{"other", {1, 1, 1}, "other", 1, "0 1 0", "multi"},
              {"other", {1, 0, 1}, nullptr, 1, "0 2 0", "other"},  // as the last match, and in the walk
              {"other", {1, 0, 1}, nullptr, 1, "0 1 0", "other"},
              {"other", {0, 2, 0}, "other", 1, "0 1 0", "multi"},
              {"other", {0, 255, 0}, "other", 1, "0 1 0", "good"},  // the last match: back to the first
              {"multi", {0, 0, 9}, "multi", 1, "0 0 1", "end"},
              {"good", {kCannotBeAsked, 1, 1}, nullptr, 0, "0 0 0", "other"},
              {".other", {1, 1, 1}, nullptr, 1, "0 0 0", "other"},
              {nullptr, {0, 2, 1}, "multi", 1, "1 1 1", "end"}};
  for (const auto& row : rows) {
    set(row.now);
    known_ = 7;
    EXPECT_STREQ(ORB_is_file_type("nosuch", nullptr, row.key, &known_), row.found) << row.asked;
    EXPECT_EQ(known_, row.is_known) << row.asked;
    EXPECT_EQ(asked(), row.asked);
    EXPECT_STREQ(next(), row.next) << row.asked;
  }
}

TEST_F(Detect, forgets_the_last_match_with_the_formats) {
  set({1, 0, 0});
  EXPECT_STREQ(ORB_is_file_type("nosuch", nullptr, "good", nullptr), "good");
  ORB_exit();
  EXPECT_EQ(ORB_is_file_type("nosuch", nullptr, "good", &known_), nullptr);  // started without plug-ins
  EXPECT_EQ(asked(), "1 0 0");
  EXPECT_EQ(known_, 1);
}

TEST_F(Detect, goes_on_when_a_driver_that_is_asked_uses_the_registry) {
  set({0, 0, 1});
  ORB_find("other")->is_file = [](const char*, FILE*) { return static_cast<uint8_t>(!ORB_find("good")); };
  EXPECT_STREQ(ORB_get_file_type("nosuch", nullptr, &known_), "multi");
  EXPECT_STREQ(next(), "end");
}

TEST(DetectKey, shared_by_two_formats_finds_the_one_that_can_be_asked) {
  const Plugins plugins({"mem_key"});
  auto* built_in = static_cast<orb::FormatNode*>(orb::registry().formats.tail());
  built_in->format.is_file = [](const char*, FILE*) { return uint8_t{1}; };
  int32_t is_known = 7;
  EXPECT_EQ(ORB_is_file_type("nosuch", nullptr, "mem", &is_known), built_in->format.key);
  EXPECT_EQ(is_known, 0);
}

TEST(DetectStart, happens_by_itself_and_its_failure_leaves_the_answer_unknown) {
  const auto any = [](int32_t* known) { return ORB_get_file_type("a.mem", nullptr, known); };
  const auto one = [](int32_t* known) { return ORB_is_file_type("a.mem", nullptr, "mem", known); };
  const char* (*const queries[])(int32_t*) = {any, one};
  Description picture("a.mem");
  EXPECT_EQ(ORB_close(picture.rows(0, 1).open("w")), 0);
  ERR_unmask_s(ERR_DEBUG);
  for (const auto query : queries) {
    ORB_exit();
    ReportRecorder recorder;
    int32_t is_known = 7;
    {
      const FailAllocation fail(1);
      EXPECT_EQ(query(&is_known), nullptr);
      EXPECT_EQ(is_known, 0);
    }
    recorder.clear();
    EXPECT_STREQ(query(&is_known), "mem");
    EXPECT_EQ(is_known, 1);
    EXPECT_EQ(recorder.texts(), "orb, initializing database for ORB_find request");
  }
  ERR_mask_s(ERR_DEBUG);
  EXPECT_STREQ(ORB_get_file_type("b.mem", nullptr, nullptr), "__none_");
  ORB_mem_remove("a.mem");
  ORB_exit();
}

}  // namespace
