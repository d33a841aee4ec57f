// The plug-in template from inside a program; tests/install/template-check takes it through the tool.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "module.h"
#include "orbbase/core.h"
#include "run_orb.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/image_owner.h"
#include "tests/support/report_recorder.h"

using ::testing::HasSubstr;

namespace orb::testing {
namespace {

// Two columns, the rows 5 to 7, one grey channel of 8 bits: rows "56", "67", "78" from the bottom up.
class Slate : public ::testing::Test {
 protected:
  Slate() {
    ifd_.curve = {ORB_CURVE_GAMMA, 2.2F, 0, 1, 256, ORB_C_INTEGER, 12, nullptr};
    ifd_.pixel_aspect = 1;
    ifd_.window = {0, 1, 5, 7};
    ifd_.active_window = {0, 0, 5, 5};
    ifd_.orientation = ORB_BOTTOM_UP;
    ifd_.color = {nullptr, 1, ORB_C_INTEGER, 8};
    ifd_.matte = ifd_.aux = {nullptr, 0, ORB_C_INTEGER, 8};
    ifd_.index = {nullptr, 0, ORB_C_INTEGER, 16};
  }

  Image open(const char* mode) {
    std::string key = "slate";
    ORB_INFO info;
    ORB_info_init(&info);
    info.key = key.data();
    info.handle = path_.data();
    info.images = &ifd_;
    info.image_count = 1;
    return Image(ORB_open(&info, mode));
  }

  static int32_t write_row(const Image& image, int32_t line) {
    char samples[] = {static_cast<char>('0' + line), static_cast<char>('1' + line)};
    void* rows[] = {samples};
    return ORB_scan_write(image.get(), line, rows);
  }

  // Every row and the close. The first code that is not 0.
  int32_t write_all() {
    Image image = open("w");
    if (!image) return orb__err;
    for (int32_t line = 7; line >= 5; --line) {
      if (const int32_t code = write_row(image, line)) return code;
    }
    return ORB_close(image.release());
  }

  // All rows from the top down, as far as they can be read.
  std::string read_all() {
    const Image image = open("r");
    std::string samples;
    void** rows = nullptr;
    for (int32_t line = 7; image && line >= 5 && ORB_scan_read(image.get(), line, &rows) == 0; --line) {
      samples.append(static_cast<const char*>(rows[0]), 2);
    }
    return samples;
  }

  LoadedModule module_{SLATE_MODULE};
  Folder folder_;
  ReportRecorder reports_;
  std::string path_ = folder_.path("picture.slate");
  ORB_IFD ifd_ = {};
};

// What it says it will hold, rows out of sequence, files cut anywhere, full disks, and what it has to refuse.
TEST_F(Slate, passes_the_check_of_plug_ins) {
  const Outcome checked = orb(folder_, {"plugin-check", SLATE_MODULE});
  EXPECT_EQ(checked.status, 0) << checked.err;
  EXPECT_THAT(checked.out, ::testing::Not(HasSubstr("warn"))) << "nothing was left unchecked";
}

TEST_F(Slate, closed_early_says_so_and_leaves_no_file_that_reads_as_whole) {
  Image image = open("w");
  ASSERT_EQ(write_row(image, 7), 0);
  EXPECT_EQ(ORB_close(image.release()), ORB_E_WRITE);
  EXPECT_EQ(orb__err, ORB_E_WRITE);
  EXPECT_THAT(reports_.texts(), HasSubstr("closed before all rows were written"));
  EXPECT_EQ(read_all(), "78");
}

TEST_F(Slate, samples_larger_than_their_bits_are_neither_written_nor_read) {
  ifd_.color.width = 6;
  ASSERT_EQ(write_all(), 0);
  Image image = open("w");
  char larger[] = {0, 64};
  void* rows[] = {larger};
  EXPECT_EQ(ORB_scan_write(image.get(), 7, rows), ORB_E_HANDLE);
  for (int32_t line = 7; line >= 5; --line) EXPECT_EQ(write_row(image, line), 0) << "given again";
  ORB_close(image.release());
  std::string file = bytes_of(path_);
  file[26] = 5;  // bits
  put_bytes(path_, file);
  EXPECT_EQ(read_all(), "");
  EXPECT_EQ(orb__err, ORB_E_DECODE);
}

TEST_F(Slate, sizes_of_the_header_are_held_against_both_limits) {
  const struct {
    std::string width;
    uint64_t handle_limit;
    const char* text;
  } rows[] = {{"\xff\xff\xff\x7f", 0, "a single buffer: 2147483648 bytes needed"},
              {std::string("\2\0\0\0", 4), 1, "one handle's buffers together: 2 bytes needed"}};
  ASSERT_EQ(write_all(), 0);
  const std::string whole = bytes_of(path_);
  for (const auto& row : rows) {
    put_bytes(path_, std::string(whole).replace(16, 4, row.width));
    reports_.clear();
    const uint64_t before = ORB_limit(ORB_LIMIT_HANDLE, row.handle_limit);
    EXPECT_FALSE(open("r")) << row.text;
    EXPECT_EQ(orb__err, ORB_E_MEMORY) << row.text;
    EXPECT_THAT(reports_.texts(), HasSubstr(row.text));
    ORB_limit(ORB_LIMIT_HANDLE, before);
  }
}

TEST_F(Slate, a_failed_open_leaves_an_old_file_alone_and_no_new_one_behind) {
  ifd_.color.width = 17;
  EXPECT_FALSE(open("w"));
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(reports_.texts(), "slate cannot handle image channel width");
  EXPECT_TRUE(folder_.names().empty());
  put_bytes(path_, "old");
  EXPECT_FALSE(open("w"));
  EXPECT_EQ(bytes_of(path_), "old");
}

TEST_F(Slate, reading_and_writing_survive_the_failure_of_any_allocation) {
  ASSERT_EQ(write_all(), 0);
  for (const char* mode : {"w", "r"}) {
    int64_t nth = 0;
    for (bool happened = true; happened;) {
      ASSERT_LT(++nth, 100);
      const FailAllocation fail(nth);
      const Image image = open(mode);
      happened = fail.happened();
      const int32_t code = orb__err;
      // A text that ORB_open cannot copy for want of memory does not stop it.
      EXPECT_TRUE(image ? !happened || *mode == 'w' : happened && code == ORB_E_MEMORY) << mode << nth;
    }
    EXPECT_GT(nth, 3) << "the driver alone allocates three blocks";
    reports_.clear();
  }
  ASSERT_EQ(write_all(), 0);
  EXPECT_EQ(read_all(), "786756");
}

}  // namespace
}  // namespace orb::testing
