#include <gtest/gtest.h>

#include <climits>

#include "orbbase/core.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::FailAllocation;
using orb::testing::ReportRecorder;

TEST(Lut, alloc_gives_zeroed_entries_and_a_scale_of_one) {
  for (const int32_t count : {4, 0}) {
    ORB_LUT* lut = ORB_lut_alloc(count);
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(lut->entry_count, count);
    EXPECT_EQ(lut->last_index, count - 1);
    EXPECT_EQ(lut->scale, 1.0f);
    for (int32_t i = 0; i < count; ++i) {
      for (const uint8_t byte : lut->entries[i].bytes) EXPECT_EQ(byte, 0);
    }
    EXPECT_EQ(ORB_lut_free(lut), nullptr);
  }
  EXPECT_EQ(ORB_lut_free(nullptr), nullptr);
}

TEST(Lut, impossible_counts_are_refused) {
  ReportRecorder recorder;
  const struct {
    int32_t count, code;
  } rows[] = {{-1, -16}, {INT_MIN, -16}, {INT_MAX, -10}, {(1 << 27) + 1, -10}};
  for (const auto& row : rows) {
    orb__err = 0;
    EXPECT_EQ(ORB_lut_alloc(row.count), nullptr) << row.count;
    EXPECT_EQ(orb__err, row.code) << row.count;
    orb__err = 0;
    EXPECT_EQ(ORB_lut_realloc(ORB_lut_alloc(2), row.count), nullptr) << row.count;  // the table is gone
    EXPECT_EQ(orb__err, row.code) << row.count;
  }
  const ORB_LUT broken = {nullptr, 3, -4, 1.0f};
  EXPECT_EQ(ORB_lut_copy(&broken), nullptr);
  EXPECT_EQ(ORB_lut_copy(nullptr), nullptr);
  EXPECT_EQ(ORB_lut_realloc(nullptr, 4), nullptr);
}

TEST(Lut, realloc_of_a_copy_keeps_entries_zeroes_new_ones_and_leaves_last_index) {
  ORB_LUT* original = ORB_lut_alloc(4);
  for (int32_t i = 0; i < 4; ++i) original->entries[i].rgba[0] = static_cast<uint16_t>(i + 1);
  original->scale = 2.5f;
  ORB_LUT* lut = ORB_lut_copy(original);
  ORB_lut_free(original);
  ASSERT_EQ(ORB_lut_realloc(lut, 8), lut);
  EXPECT_EQ(lut->entry_count, 8);
  EXPECT_EQ(lut->last_index, 3);
  EXPECT_EQ(lut->scale, 2.5f);
  for (int32_t i = 0; i < 8; ++i) EXPECT_EQ(lut->entries[i].rgba[0], i < 4 ? i + 1 : 0);
  ASSERT_EQ(ORB_lut_realloc(lut, 2), lut);
  EXPECT_EQ(lut->entry_count, 2);
  EXPECT_EQ(lut->last_index, 3);
  EXPECT_EQ(lut->entries[1].rgba[0], 2);
  ORB_lut_free(lut);
}

TEST(Lut, every_call_survives_the_failure_of_any_allocation) {
  ORB_LUT* original = ORB_lut_alloc(3);
  const struct {
    const char* name;
    ORB_LUT* (*call)(ORB_LUT* original, ORB_LUT* own);
  } rows[] = {
      {"alloc", [](ORB_LUT*, ORB_LUT* own) { return ORB_lut_free(own), ORB_lut_alloc(3); }},
      {"copy", [](ORB_LUT* lut, ORB_LUT* own) { return ORB_lut_free(own), ORB_lut_copy(lut); }},
      {"realloc", [](ORB_LUT*, ORB_LUT* own) { return ORB_lut_realloc(own, 30); }},
  };
  for (const auto& row : rows) {
    for (int nth = 1;; ++nth) {
      ReportRecorder recorder;
      ORB_LUT* own = ORB_lut_alloc(3);
      orb__err = 0;
      FailAllocation fail(nth);
      ORB_LUT* result = row.call(original, own);
      if (!fail.happened()) {
        EXPECT_GT(nth, 1) << row.name;
        EXPECT_NE(result, nullptr) << row.name;
        ORB_lut_free(result);
        break;
      }
      EXPECT_EQ(result, nullptr) << row.name << nth;
      EXPECT_EQ(orb__err, -10) << row.name << nth;
      EXPECT_EQ(recorder.texts(), "No more internal memory") << row.name << nth;
    }
  }
  ORB_lut_free(original);
}

struct LutDriver {
  int32_t code;
  ORB_LUT* table;
};

int32_t read_lut(void* data, ORB_LUT** lut_out) {
  EXPECT_EQ(*lut_out, nullptr);
  const auto* driver = static_cast<LutDriver*>(data);
  *lut_out = driver->table;
  return driver->code;
}

TEST(LutRead, passes_the_drivers_table_and_marks_its_failures) {
  ORB_LUT table = {};
  const struct {
    int32_t code, result;
  } rows[] = {{0, 0}, {1, 1}, {2, 1}, {-16, -255}, {0x100, 0x101}, {INT_MIN, INT_MIN + 1}};
  for (const auto& row : rows) {
    LutDriver data = {row.code, &table};
    ORB_DRIVER_BLOCK block = {&data};
    ORB_IMAGE image = {};
    image.driver = &block;
    image.lut_read = read_lut;
    ORB_LUT other = {};
    ORB_LUT* lut = &other;
    EXPECT_EQ(ORB_lut_read(&image, &lut), row.result) << row.code;
    EXPECT_EQ(lut, &table);
    image.lut_read = nullptr;
    EXPECT_EQ(ORB_lut_read(&image, &lut), 1);
    EXPECT_EQ(lut, nullptr);
  }
}

}  // namespace
