// What only such systems have: full devices, limits on files, FIFOs.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>

#include "orbbase/formats/rla.h"
#include "orbbase/formats/rla/header.h"
#include "tests/core/picture.h"
#include "tests/core/posix_files.h"
#include "tests/formats/rla/rla_test.h"

namespace orb::testing {
namespace {

TEST_F(Rla, standard_output_takes_the_rows_and_the_time_behind_them) {
  Picture picture("/dev/stdout", "rla");
  picture.images(2);
  int32_t code = 0;
  {
    const Redirect standard("out.rla", O_CREAT | O_WRONLY | O_TRUNC, STDOUT_FILENO);
    code = write_whole(picture);
  }
  ASSERT_EQ(code, 0);
  const Bytes streamed = get_file("out.rla");
  picture.name = "file.rla";
  ASSERT_EQ(write_whole(picture), 0);
  const Bytes file = get_file("file.rla");
  ASSERT_EQ(streamed.size(), file.size() + rla::kTimeBytes);
  constexpr size_t kRowsAt = 740 + 5 * 4;  // behind the header and the offsets, to which nobody could go back
  EXPECT_TRUE(std::equal(streamed.begin() + kRowsAt, streamed.begin() + 900, file.begin() + kRowsAt));
  EXPECT_EQ(std::string(streamed.end() - rla::kTimeBytes, streamed.end()).substr(0, 6), "00:00:");
}

TEST_F(Rla, a_failed_open_removes_only_a_file_that_it_made) { expect_only_own_file_removed("rla"); }

TEST_F(Rla, a_disk_that_fills_up_is_told_once_and_by_the_close) {
  // Small limits fail at the close, the others in a row.
  for (const rlim_t bytes : {2000, 100000, 300000, 700000}) {
    const Picture picture = Picture("full.rla").window({0, 999, 0, 299}).images(2);
    ORB_INFO info = picture.info();
    ReportRecorder recorder;
    Image image(ORB_open(&info, "w"));
    ASSERT_TRUE(image);
    int32_t code = 0;
    const FileSizeLimit limit(bytes);
    for (int32_t line = 0; line < 300; ++line) {
      code = write_line(image.get(), picture, line);
      if (code != 0) break;
    }
    EXPECT_EQ(code, -20);
    EXPECT_EQ(write_line(image.get(), picture, 0, 1), -20) << "not written behind a gap";
    EXPECT_EQ(ORB_close(image.release()), -20);
    EXPECT_EQ(orb__err, -20);
    EXPECT_EQ(recorder.reports.size(), 1U) << bytes << recorder.texts();
    const Image reader = open_file("full.rla");
    ASSERT_TRUE(reader) << bytes;
    EXPECT_EQ(reader->info.image_count, 1);
    if (bytes < 100000) continue;
    EXPECT_EQ(compare_line(reader.get(), picture, 0), "") << "what was written is there";
  }
}

TEST_F(Rla, neither_a_fifo_nor_a_folder_nor_nothing_is_an_rla_file) {
  ASSERT_EQ(mkfifo("fifo", 0600), 0);
  ASSERT_EQ(mkdir("folder", 0700), 0);
  for (const char* name : {"fifo", "folder", "missing"}) EXPECT_EQ(ORB_rla_is_file(name, nullptr), 0) << name;
  EXPECT_EQ(ORB_rla_is_file(nullptr, nullptr), 0);
  ReportRecorder recorder;
  EXPECT_FALSE(open_file("folder"));
  EXPECT_EQ(orb__err, -5);
  EXPECT_EQ(recorder.texts(), "Cannot open file folder; Is a directory");
}

TEST_F(Rla, rows_in_their_order_come_through_a_fifo) {
  // Of bytes, and of floats in long lines, which otherwise pass the reader's window.
  for (const int type : {0, 4}) {
    ASSERT_EQ(mkfifo("rows.fifo", 0600), 0);
    const Bytes file = RlaFile().window(2000, 40).color(3, type, 8).bytes();
    std::thread writer([&file] { put_file("rows.fifo", file); });
    Image image = open_file("rows.fifo");
    ASSERT_TRUE(image);
    for (int32_t line = 0; line < 40; ++line) {
      void** rows = nullptr;
      ASSERT_EQ(ORB_scan_read(image.get(), line, &rows), 0) << type << ' ' << line;
      EXPECT_EQ(static_cast<uint8_t*>(rows[2])[0], RlaFile::ramp(0, 2, line, 0, 0)) << type << ' ' << line;
    }
    ORB_close(image.release());
    writer.join();
    std::remove("rows.fifo");
  }
}

TEST_F(Rla, standard_input_is_never_read) {
  for (int i = 0; i < 2; ++i) {
    ReportRecorder recorder;
    EXPECT_FALSE(open_file("/dev/stdin"));
    EXPECT_EQ(orb__err, -8);
    EXPECT_EQ(recorder.reports.size(), 1U);
  }
}

}  // namespace
}  // namespace orb::testing
