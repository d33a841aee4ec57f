// Positioning a reader.
#include <gmock/gmock.h>

#include <vector>

#include "orbbase/core/internal.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

constexpr const char* kDidNotAdvance = "ORB_seek: did not advance image pointer correctly\n";

TEST(Seek, makes_the_next_read_find_the_line) {
  const Plugins plugins({"good"});
  auto& opens = plugins[0].variable<int32_t>("testOpens");
  const struct {
    const char* name;
    int32_t rows_read_before, line, found, reopened;  // found: what the next read finds there
    const char* printed;
  } rows[] = {
      {"up_0_29", 0, 7, 7, 0, ""},
      {"up_0_29", 6, 20, 20, 0, ""},
      {"up_0_29", 6, 6, 6, 0, ""},
      {"up_0_29", 1, 0, 1, 0, ""},  // the line read last counts as reached
      {"up_0_29", 6, 2, 2, 1, ""},
      {"up_0_29", 6, -1, 0, 1, ""},  // the first line of the file
      {"up_0_29", 0, -1, 0, 0, ""},
      {"up_5_29", 0, 9, 9, 0, ""},  // current_line -1 stands far below the window
      {"up_5_29", 0, 5, 5, 0, ""},
      {"up_-9_20", 12, -9, -9, 1, kDidNotAdvance},  // and here within it
      {"down_0_29", 0, 20, 20, 0, ""},
      {"down_0_29", 20, 20, 20, 1, ""},  // from 10 back up to 20
      {"down_0_29", 4, -1, 29, 1, ""},
      {"down_0_29", 4, 0, 0, 0, ""},
      {"down_-9_-3", 0, -6, -6, 0, ""},
      {"down_2147483640_2147483647", 0, 2147483644, 2147483644, 0, ""},  // current_line has wrapped round
      {"down_2147483640_2147483647", 3, -1, INT32_MAX, 1, ""},
      {"down_-2147483648_-2147483640", 1, -2147483646, -2147483646, 0, ""},
      {"up_2147483640_2147483647", 2, 2147483645, 2147483645, 0, ""},
      {"up_-2147483648_-2147483640", 0, -1, INT32_MIN, 1, kDidNotAdvance},
  };
  for (const auto& row : rows) {
    Description wanted(row.name, "good");
    ORB_IMAGE* image = wanted.open("r");
    ASSERT_NE(image, nullptr);
    const ORB_IFD& ifd = image->info.images[0];
    int32_t next = ifd.orientation ? ifd.window.bottom : ifd.window.top;
    for (int32_t i = 0; i < row.rows_read_before; ++i, next += ifd.orientation ? 1 : -1) {
      ASSERT_NE(read_sample(image, next), -1);
    }
    const int32_t opens_before = opens;
    ::testing::internal::CaptureStderr();
    set_error(ORB_E_DECODE);
    EXPECT_EQ(ORB_seek(&image, row.line), 0) << row.name << " " << row.line;
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), row.printed) << row.name << " " << row.line;
    EXPECT_EQ(opens - opens_before, row.reopened) << row.name << " " << row.line;
    EXPECT_EQ(read_sample(image, row.found), row.found & 255) << row.name << " " << row.line;
    ORB_close(image);
  }
}

TEST(Seek, re_opens_with_the_same_settings_and_exact_name_or_leaves_no_handle) {
  const Plugins plugins({"good"});
  ReportRecorder recorder;
  const auto at_line_1 = [] {
    Description wanted("up_0_29", ".good");
    wanted.info.settings = one_setting(3);
    ORB_IMAGE* image = wanted.open("r");
    for (const int32_t line : {0, 1}) EXPECT_EQ(read_sample(image, line), line);
    return image;
  };
  for (int nth = 1;; ++nth) {
    ORB_IMAGE* image = at_line_1();
    FailAllocation fail(nth);
    const int32_t result = ORB_seek(&image, 0);
    const bool failed = fail.happened();
    EXPECT_EQ(result, failed ? ORB_E_MEMORY : 0) << nth;
    if (image && !failed) {
      EXPECT_STREQ(image->info.key, "good");  // the format's key
      EXPECT_EQ(image->info.open_option, 1);
      EXPECT_EQ(image->info.read_option, 0);
      ASSERT_NE(image->info.settings, nullptr);
      EXPECT_EQ(image->info.settings[0]->value.integer, 3);
    }
    if (image) ORB_close(image);
    if (!failed) break;
  }
  ORB_IMAGE* image = at_line_1();
  image->info.handle[2] = 'x';  // no picture any more
  EXPECT_EQ(ORB_seek(&image, 0), ORB_E_OPEN);
  EXPECT_EQ(image, nullptr);
}

// The lines that a driver was asked for.
std::vector<int32_t> asked_lines;
int32_t note_line(void*, int32_t line, void*) { return asked_lines.push_back(line), ORB_OK; }

TEST(Seek, passes_over_what_nothing_is_active_in) {
  const Plugins plugins({"good"});
  constexpr int32_t kFar = 1 << 30;
  const struct {
    const char* name;
    int32_t line;
    std::vector<int32_t> asked;  // of the lines from -kFar to kFar, of which 10 to 12 are active
  } rows[] = {{"up_0_29", 12, {10, 11}},
              {"up_0_29", kFar, {10, 11, 12, kFar - 1}},
              {"up_0_29", 9, {8}},
              {"up_0_29", 13, {10, 11, 12}},
              {"up_0_29", INT32_MAX, {10, 11, 12, kFar}},
              {"down_0_29", 10, {12, 11}},
              {"down_0_29", 13, {14}},
              {"down_0_29", 9, {12, 11, 10}},
              {"down_0_29", -kFar, {12, 11, 10, 1 - kFar}},
              {"down_0_29", INT32_MIN, {12, 11, 10, -kFar}}};
  for (const auto& row : rows) {
    Description wanted(row.name, "good");
    ORB_IMAGE* image = wanted.open("r");
    ASSERT_NE(image, nullptr);
    ORB_IFD& ifd = image->info.images[0];
    ifd.window = {0, 0, -kFar, kFar};
    ifd.active_window = {0, 0, 10, 12};
    image->scan = note_line;
    image->current_line = ifd.orientation ? -kFar - 1 : kFar + 1;
    asked_lines.clear();
    EXPECT_EQ(ORB_seek(&image, row.line), 0);
    EXPECT_EQ(asked_lines, row.asked) << row.name << " " << row.line;
    ORB_close(image);
  }
}

TEST(Seek, asks_the_driver_first_and_does_nothing_where_any_line_can_be_read) {
  const Plugins plugins({"good"});
  ImageOwner owner = new_handle(ORB_MODE_READ);
  ORB_IMAGE* image = owner.get();
  EXPECT_EQ(ORB_seek(&image, 4), ORB_E_HANDLE);  // it would have to read, but cannot
  image->format = ORB_find("mem");
  EXPECT_EQ(ORB_seek(&image, 17), 0);
  static int32_t asked = 0;
  image->format = nullptr;
  image->seek = [](void*, int32_t line) {
    asked = line;
    return -7;  // which is ignored
  };
  EXPECT_EQ(ORB_seek(&image, 17), 0);
  EXPECT_EQ(asked, 17);
  EXPECT_EQ(image, owner.get());

  ORB_IMAGE* const writer = Description("written.good").rows(0, 9).open("w");
  image = writer;
  EXPECT_EQ(ORB_seek(&image, 4), ORB_E_HANDLE);
  EXPECT_EQ(image, writer);
  ORB_close(writer);
  image = nullptr;
  EXPECT_EQ(ORB_seek(&image, 4), ORB_E_HANDLE);
  EXPECT_EQ(ORB_seek(nullptr, 4), ORB_E_HANDLE);
}

}  // namespace
}  // namespace orb::testing
