#include <gtest/gtest.h>

#include <string>

#include "orbbase/core/drivers/row_layout.h"
#include "tests/support/limit_setting.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

// Counts that the limits let through must still be laid out in 64 bits.
TEST(Limit, raised_as_far_as_it_goes_lets_no_layout_overflow) {
  const struct {
    int32_t colors, mattes, right, code;
  } rows[] = {{INT32_MAX, 0, 0, -10}, {INT32_MAX, 1, 0, ORB_E_HANDLE}, {INT32_MAX, 0, INT32_MAX - 1, -10}};
  const LimitSetting channels(ORB_LIMIT_CHANNELS, UINT64_MAX);
  for (const auto& row : rows) {
    ReportRecorder recorder;
    ORB_IFD ifd = {};
    ifd.color = {nullptr, row.colors, ORB_C_DOUBLE, 32};
    ifd.matte = {nullptr, row.mattes, ORB_C_INTEGER, 8};
    ifd.aux.type = ifd.index.type = ORB_C_INTEGER;
    ifd.window = ifd.active_window = {0, row.right, 0, 0};
    RowLayout layout = {};
    EXPECT_EQ(lay_out_rows(ifd, "mem", "limits", layout), row.code) << row.colors;
    EXPECT_EQ(recorder.reports.size(), 1u);
  }
}

TEST(Limit, is_set_and_read_and_a_need_over_it_is_reported_with_all_that_is_to_be_known) {
  const struct {
    int32_t which;
    uint64_t built_in;
    const char *limit, *unit, *name;
  } rows[] = {{ORB_LIMIT_BUFFER, 1073741824, "a single buffer", " bytes", "BUFFER, bytes"},
              {ORB_LIMIT_HANDLE, 2147483648, "one handle's buffers together", " bytes", "HANDLE, bytes"},
              {ORB_LIMIT_IMAGES, 65536, "sub-images in a file", "", "IMAGES, count"},
              {ORB_LIMIT_CHANNELS, 65536, "channels in an image", "", "CHANNELS, count"},
              {ORB_LIMIT_PIXELS, uint64_t{1} << 36, "pixels in an image", "", "PIXELS, count"}};
  for (const auto& row : rows) {
    ReportRecorder recorder;
    EXPECT_EQ(ORB_limit(row.which, 0), row.built_in);
    EXPECT_EQ(ORB_limit(row.which, 10), row.built_in);
    EXPECT_EQ(ORB_limit(row.which, 0), 10u);
    orb__err = 0;
    EXPECT_EQ(orb__within_limit(row.which, 10, "open_rows"), 1);
    EXPECT_EQ(orb__err, 0);
    EXPECT_EQ(recorder.texts(), "");
    EXPECT_EQ(orb__within_limit(row.which, 11, nullptr), 0);
    EXPECT_EQ(orb__err, -10);
    recorder.clear();
    EXPECT_EQ(orb__within_limit(row.which, UINT64_MAX, "open_rows"), 0);
    EXPECT_EQ(recorder.texts(), std::string("open_rows: over the limit of ") + row.limit +
                                    ": 18446744073709551615" + row.unit + " needed, 10" + row.unit +
                                    " allowed; raise it with ORB_limit(ORB_LIMIT_" + row.name + ")");
    EXPECT_EQ(ORB_limit(row.which, row.built_in), 10u);
  }
  ReportRecorder recorder;
  for (const int32_t which : {0, 6, -1}) {  // there are no others
    orb__err = 0;
    EXPECT_EQ(ORB_limit(which, 7), 0u);
    EXPECT_EQ(orb__err, -16);
    orb__err = 0;
    EXPECT_EQ(orb__within_limit(which, 0, "test"), 0);
    EXPECT_EQ(orb__err, -16);
  }
  EXPECT_EQ(recorder.texts(), "");
}

}  // namespace
}  // namespace orb::testing
