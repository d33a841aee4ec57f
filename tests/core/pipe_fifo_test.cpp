// Pipe streams over real FIFOs, devices and standard streams, and in the words of a POSIX system.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <thread>

#include "orbbase/core/drivers/drivers.h"
#include "orbbase/registry.h"
#include "tests/core/files.h"
#include "tests/core/picture.h"
#include "tests/core/posix_files.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

void write_to(int descriptor, const Bytes& bytes) {
  size_t at = 0;
  while (at < bytes.size()) {
    const ssize_t n = ::write(descriptor, bytes.data() + at, bytes.size() - at);
    if (n <= 0) break;
    at += static_cast<size_t>(n);
  }
}

// A FIFO, a file's name, and an image under each.
class PipeFifo : public ::testing::Test {
 protected:
  PipeFifo() {
    for (const char* name : {"fifo", "p.pipe"}) std::remove(name);
    EXPECT_EQ(::mkfifo("fifo", 0600), 0);
  }
  ~PipeFifo() override { ORB_exit(); }

  const Picture through_fifo{"fifo", "pipe"};
  const Picture in_file{"p.pipe"};
  ReportRecorder recorder;
};

TEST_F(PipeFifo, carries_an_image_through_a_fifo_of_any_name_and_takes_nothing_behind_it) {
  const Picture picture = Picture(through_fifo).window({0, 999, 0, 99}).active({10, 990, 5, 95});
  Picture copy = picture;
  copy.name = "p.pipe";
  ASSERT_EQ(write_whole(copy), 0);
  const Bytes stream = get_file("p.pipe");
  Bytes twice_and_more = stream;
  twice_and_more.insert(twice_and_more.end(), stream.begin(), stream.end());
  twice_and_more.insert(twice_and_more.end(), {'t', 'a', 'i', 'l'});
  // Open at both ends here, so that the FIFO keeps its bytes between its readers.
  const int both_ends = ::open("fifo", O_RDWR);
  std::thread sender([&] { write_to(both_ends, twice_and_more); });
  EXPECT_EQ(compare_whole(picture), "");
  EXPECT_EQ(compare_whole(picture), "") << "the second of two streams";
  sender.join();
  char tail[8];
  EXPECT_EQ(::read(both_ends, tail, sizeof tail), 4);
  EXPECT_EQ(std::string(tail, 4), "tail");
  ::close(both_ends);
}

TEST_F(PipeFifo, reports_once_that_the_reader_went_away_and_lives_on) {
  ASSERT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_DFL) << "a broken pipe would end this process";
  const Picture picture = Picture(through_fifo).window({0, 29999, 0, 9});
  std::thread receiver([&] { ::close(::open("fifo", O_RDONLY)); });
  ORB_IMAGE* handle = picture.open("w");
  receiver.join();
  if (handle) {  // or it was gone before the header came
    int32_t code = 0;
    int32_t line = 0;
    while (line < 10 && code == 0) code = write_line(handle, picture, line++);
    EXPECT_EQ(code, -20);
    EXPECT_EQ(write_line(handle, picture, line), -20);
    orb__err = 0;
    EXPECT_EQ(ORB_close(handle), -20);
  }
  EXPECT_EQ(orb__err, -20);
  ASSERT_EQ(recorder.reports.size(), 1u) << recorder.texts();
  EXPECT_NE(recorder.texts().find("Broken pipe"), std::string::npos) << recorder.texts();
  EXPECT_TRUE(::access("fifo", F_OK) == 0) << "the FIFO is not the writer's to remove";
}

TEST_F(PipeFifo, a_failed_open_removes_only_a_file_that_it_made) { expect_only_own_file_removed("pipe"); }

TEST_F(PipeFifo, says_which_line_or_that_the_close_found_no_room) {
  const struct {
    int32_t pixels;
    const char* report;
  } rows[] = {{40000, "Cannot write scanline 0; File too large"},  // longer than any buffer
              {100, "Cannot write to "}};                          // all in the buffer until the close
  for (const auto& row : rows) {
    recorder.clear();
    {
      const FileSizeLimit limit(1000);
      EXPECT_EQ(write_whole(Picture(in_file).window({0, row.pixels - 1, 0, 4})), -20);
    }
    EXPECT_EQ(orb__err, -20);
    ASSERT_EQ(recorder.reports.size(), 1u) << recorder.texts();
    EXPECT_EQ(recorder.texts().find(row.report), 0u) << recorder.texts();
  }
}

TEST_F(PipeFifo, reports_what_the_system_says_when_a_file_cannot_be_opened) {
  const struct {
    std::string name;
    const char* reason;
  } rows[] = {{"no/such/folder.pipe", "; No such file or directory"},
              {"./", "; Is a directory"},
              {std::string(100000, 'n') + ".pipe", ""}};  // cut where the report's buffer ends
  for (const auto& row : rows) {
    for (const char* mode : {"r", "w"}) {
      recorder.clear();
      const Picture picture(row.name, "pipe");
      ORB_INFO info = picture.info();
      info.open_option = 1;
      EXPECT_EQ(ORB_open(&info, mode), nullptr);
      EXPECT_EQ(orb__err, -5);
      EXPECT_EQ(recorder.texts().substr(0, 1000),
                ("Cannot open file " + row.name + row.reason).substr(0, 1000));
    }
  }
}

TEST_F(PipeFifo, is_file_neither_waits_for_a_fifo_nor_takes_from_it) {
  EXPECT_EQ(pipe_is_file("fifo", nullptr), 0) << "nobody writes to it";
  const int both_ends = ::open("fifo", O_RDWR | O_NONBLOCK);
  write_to(both_ends, {'O', 'R', 'B', 'p', 'i', 'p', 'e', 0x1a});
  EXPECT_EQ(pipe_is_file("fifo", nullptr), 0);
  char bytes[16];
  EXPECT_EQ(::read(both_ends, bytes, sizeof bytes), 8);
  ::close(both_ends);
}

TEST_F(PipeFifo, uses_the_standard_streams_and_leaves_them_open) {
  {
    const Redirect redirect("standard", O_WRONLY | O_CREAT | O_TRUNC, 1);
    EXPECT_EQ(write_whole(Picture("/dev/stdout", "pipe")), 0);
    std::fputs("behind", stdout);
  }
  const Redirect redirect("standard", O_RDONLY, 0);
  EXPECT_EQ(compare_whole(Picture("/dev/stdin", "pipe")), "");
  char rest[16] = {};
  EXPECT_EQ(std::fread(rest, 1, sizeof rest, stdin), 6u) << "what follows is the process's next read";
  EXPECT_STREQ(rest, "behind");
}

}  // namespace
}  // namespace orb::testing
