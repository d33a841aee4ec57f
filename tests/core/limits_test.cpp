#include <gtest/gtest.h>

#include <string>

#include "orbbase/core/drivers/row_layout.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::ReportRecorder;

TEST(Limit, reads_with_zero_and_returns_what_was_in_force_before) {
  const struct {
    int32_t which;
    uint64_t built_in;
  } rows[] = {{ORB_LIMIT_BUFFER, 1073741824},
              {ORB_LIMIT_HANDLE, 2147483648},
              {ORB_LIMIT_IMAGES, 65536},
              {ORB_LIMIT_CHANNELS, 65536},
              {ORB_LIMIT_PIXELS, 1ULL << 36}};
  for (const auto& row : rows) {
    EXPECT_EQ(ORB_limit(row.which, 0), row.built_in);
    EXPECT_EQ(ORB_limit(row.which, UINT64_MAX), row.built_in);
    EXPECT_EQ(ORB_limit(row.which, 0), UINT64_MAX);
    EXPECT_EQ(ORB_limit(row.which, row.built_in), UINT64_MAX);
  }
}

TEST(Limit, knows_no_others) {
  ReportRecorder recorder;
  for (const int32_t which : {0, 6, -1}) {
    orb__err = 0;
    EXPECT_EQ(ORB_limit(which, 7), 0u);
    EXPECT_EQ(orb__err, -16);
    orb__err = 0;
    EXPECT_EQ(orb__within_limit(which, 0, "test"), 0);
    EXPECT_EQ(orb__err, -16);
  }
  EXPECT_EQ(recorder.texts(), "");
}

// Counts that the limits let through must still be laid out in 64 bits.
TEST(Limit, raised_as_far_as_it_goes_lets_no_layout_overflow) {
  const struct {
    int32_t colors, mattes, right, code;
  } rows[] = {{INT32_MAX, 0, 0, -10}, {INT32_MAX, 1, 0, ORB_E_HANDLE}, {INT32_MAX, 0, INT32_MAX - 1, -10}};
  const uint64_t channels = ORB_limit(ORB_LIMIT_CHANNELS, UINT64_MAX);
  for (const auto& row : rows) {
    ReportRecorder recorder;
    ORB_IFD ifd = {};
    ifd.color = {nullptr, row.colors, ORB_C_DOUBLE, 32};
    ifd.matte = {nullptr, row.mattes, ORB_C_INTEGER, 8};
    ifd.aux.type = ifd.index.type = ORB_C_INTEGER;
    ifd.window = ifd.active_window = {0, row.right, 0, 0};
    orb::RowLayout layout = {};
    EXPECT_EQ(orb::lay_out_rows(ifd, "mem", "limits", layout), row.code) << row.colors;
    EXPECT_EQ(recorder.reports.size(), 1u);
  }
  ORB_limit(ORB_LIMIT_CHANNELS, channels);
}

TEST(Limit, a_need_over_it_is_reported_with_all_that_is_to_be_known) {
  const struct {
    int32_t which;
    const char *limit, *need, *allowed, *how;
  } rows[] = {
      {ORB_LIMIT_BUFFER, "a single buffer", "18446744073709551615 bytes", "10 bytes", "BUFFER, bytes"},
      {ORB_LIMIT_HANDLE, "one handle's buffers together", "18446744073709551615 bytes", "10 bytes",
       "HANDLE, bytes"},
      {ORB_LIMIT_IMAGES, "sub-images in a file", "18446744073709551615", "10", "IMAGES, count"},
      {ORB_LIMIT_CHANNELS, "channels in an image", "18446744073709551615", "10", "CHANNELS, count"}};
  for (const auto& row : rows) {
    ReportRecorder recorder;
    const uint64_t before = ORB_limit(row.which, 10);
    orb__err = 0;
    EXPECT_EQ(orb__within_limit(row.which, 10, "open_rows"), 1);
    EXPECT_EQ(orb__err, 0);
    EXPECT_EQ(recorder.texts(), "");
    EXPECT_EQ(orb__within_limit(row.which, 11, nullptr), 0);
    EXPECT_EQ(orb__err, -10);
    recorder.clear();
    EXPECT_EQ(orb__within_limit(row.which, UINT64_MAX, "open_rows"), 0);
    EXPECT_EQ(recorder.texts(), std::string("open_rows: over the limit of ") + row.limit + ": " + row.need +
                                    " needed, " + row.allowed +
                                    " allowed; raise it with ORB_limit(ORB_LIMIT_" + row.how + ")");
    ORB_limit(row.which, before);
  }
}

}  // namespace
