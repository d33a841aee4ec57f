#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

#include "orbbase/core.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::FailAllocation;
using orb::testing::ReportRecorder;

ORB_CAP_SETTING integer(uint16_t code, int32_t value) {
  ORB_CAP_SETTING setting = {code, {value}};
  return setting;
}

ORB_CAP_SETTING real(float value) {
  ORB_CAP_SETTING setting = {1, {0}};
  setting.value.real = value;
  return setting;
}

// A settings list over settings of its own.
class List {
 public:
  List(std::initializer_list<ORB_CAP_SETTING> settings) : settings_(settings) {
    for (ORB_CAP_SETTING& setting : settings_) pointers_.push_back(&setting);
    pointers_.push_back(nullptr);
  }
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  operator ORB_CAP_SETTING* const*() const { return pointers_.data(); }

 private:
  std::vector<ORB_CAP_SETTING> settings_;
  std::vector<ORB_CAP_SETTING*> pointers_;
};

size_t length(ORB_CAP_SETTING** list) {
  size_t count = 0;
  while (list[count]) ++count;
  return count;
}

void free_list(ORB_CAP_SETTING** list) {
  for (size_t i = 0; list && list[i]; ++i) ERR_free(list[i]);
  ERR_free(list);
}

TEST(CapSettingCompare, follows_the_settings_of_the_first_list_through_the_second) {
  const List empty = {};
  const List five = {integer(0, 5)};
  const List six = {integer(0, 6)};
  const List five_then_two = {integer(0, 5), real(2.0f)};
  const List two_then_five = {real(2.0f), integer(0, 5)};
  const List five_twice = {integer(0, 5), integer(0, 5)};
  const List no_number = {real(NAN)};
  const List zero = {real(0.0f)};
  const List minus_zero = {real(-0.0f)};
  const struct {
    ORB_CAP_SETTING* const* a;
    ORB_CAP_SETTING* const* b;
    bool equal;
    const char* what;
  } rows[] = {
      {nullptr, nullptr, true, "two nulls"},
      {nullptr, empty, true, "null and empty"},
      {empty, nullptr, true, "empty and null"},
      {empty, five, false, "only one empty"},
      {five, nullptr, false, "only one null"},
      {five, five, true, "the same list"},
      {five, six, false, "another value"},
      {five, five_then_two, true, "only a is looked at"},
      {five_then_two, five, false, "b runs out"},
      {five_then_two, two_then_five, false, "another order"},
      {five_then_two, five_then_two, true, "two kinds"},
      {five_twice, five, true, "the search goes on from where it stopped, not behind it"},
      {two_then_five, five_twice, false, "a code that b lacks"},
      {no_number, no_number, false, "no number equals nothing"},
      {zero, minus_zero, true, "floats compare as numbers"},
  };
  ReportRecorder recorder;
  for (const auto& row : rows) EXPECT_EQ(ORB_cap_setting_compare(row.a, row.b), row.equal) << row.what;
  EXPECT_EQ(recorder.texts(), "");
}

TEST(CapSettingCompare, reports_a_code_that_has_no_kind_of_value) {
  ReportRecorder recorder;
  const List odd = {integer(0xffff, 5)};
  const List even = {integer(0, 5)};
  EXPECT_EQ(ORB_cap_setting_compare(odd, even), 0);  // never met in b, so not looked at
  EXPECT_EQ(recorder.texts(), "");
  EXPECT_EQ(ORB_cap_setting_compare(odd, odd), 0);
  EXPECT_EQ(recorder.texts(),
            "Unknown type-specific capability code (65535) specified when trying to open image file");
  EXPECT_EQ(recorder.reports.at(0).category, ERR_WARNING);
}

TEST(CapSettingAlloc, gives_unchosen_settings_or_an_empty_block) {
  ORB_CAP_SETTING* three = ORB_cap_setting_alloc(3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(three[i].code, 65535);
    EXPECT_EQ(three[i].value.integer, 0);
  }
  ERR_free(three);
  for (const int32_t count : {0, -1, INT_MIN}) {
    ORB_CAP_SETTING* block = ORB_cap_setting_alloc(count);
    EXPECT_NE(block, nullptr) << count;
    ERR_free(block);
  }
  ReportRecorder recorder;
  EXPECT_EQ(ORB_cap_setting_alloc(INT_MAX), nullptr);
  EXPECT_EQ(orb__err, -10);
  EXPECT_EQ(recorder.reports.size(), 1u);
}

TEST(CapSettingCopy, gives_a_list_of_its_own) {
  const List from = {integer(0, 5), real(2.5f), integer(9, -1)};
  ORB_CAP_SETTING** copy = ORB_cap_setting_copy(from);
  ASSERT_EQ(length(copy), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_NE(copy[i], from[i]);
    EXPECT_EQ(copy[i]->code, from[i]->code);
    EXPECT_EQ(copy[i]->value.integer, from[i]->value.integer);
  }
  free_list(copy);
  EXPECT_EQ(ORB_cap_setting_copy(nullptr), nullptr);
  EXPECT_EQ(ORB_cap_setting_copy(List{}), nullptr);
}

TEST(CapSettingCopy, gives_out_what_it_has_when_memory_runs_out) {
  const List from = {integer(0, 5), real(2.5f), integer(9, -1)};
  for (size_t nth = 1;; ++nth) {
    ReportRecorder recorder;
    orb__err = 0;
    FailAllocation fail(static_cast<int64_t>(nth));
    ORB_CAP_SETTING** copy = ORB_cap_setting_copy(from);
    if (!fail.happened()) {
      EXPECT_EQ(nth, 5u);  // the list and three settings
      EXPECT_EQ(length(copy), 3u);
      EXPECT_EQ(recorder.texts(), "");
      free_list(copy);
      break;
    }
    if (nth == 1) {
      EXPECT_EQ(copy, nullptr);
    } else {
      ASSERT_NE(copy, nullptr);
      EXPECT_EQ(length(copy), nth - 2);
    }
    EXPECT_EQ(orb__err, -10);
    EXPECT_EQ(recorder.texts(), "No more internal memory\nNo more internal memory");  // allocator, then copy
    free_list(copy);
  }
}

TEST(SetAvailable, tells_whether_it_changed_the_bit_and_touches_no_other) {
  ORB_CAPABILITY capability = {};
  capability.flags = 0xfb;
  const struct {
    int32_t available, changed;
    uint64_t flags;
  } rows[] = {{1, 0, 0xfb}, {0, 1, 0xff}, {0, 0, 0xff}, {7, 1, 0xfb}};
  for (const auto& row : rows) {
    EXPECT_EQ(ORB_set_available(&capability, row.available), row.changed);
    EXPECT_EQ(capability.flags, row.flags);
  }
  EXPECT_EQ(ORB_set_available(nullptr, 1), 0);
}

}  // namespace
