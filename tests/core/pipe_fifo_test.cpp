// Pipe streams over real FIFOs, devices and standard streams, and in the words of a POSIX system.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "orbbase/core/drivers/drivers.h"
#include "tests/core/picture.h"
#include "tests/core/scratch_file.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

ORB_IMAGE* open_image(const Picture& picture, const char* mode) {
  ORB_INFO info = picture.info();
  return ORB_open(&info, mode);
}

Bytes stream_of(const Picture& picture) {
  const ScratchFile file(".source.pipe");
  Picture copy = picture;
  copy.name = file.path();
  EXPECT_EQ(write_whole(copy), 0);
  return file.read();
}

void write_to(int descriptor, const Bytes& bytes) {
  size_t at = 0;
  while (at < bytes.size()) {
    const ssize_t n = ::write(descriptor, bytes.data() + at, bytes.size() - at);
    if (n <= 0) break;
    at += static_cast<size_t>(n);
  }
}

// Puts a descriptor in the place of another for a block.
class Redirect {
 public:
  Redirect(int from, int to) : to_(to), saved_(::dup(to)) { ::dup2(from, to); }
  ~Redirect() {
    ::dup2(saved_, to_);
    ::close(saved_);
  }

 private:
  int to_;
  int saved_;
};

TEST(PipeFifo, carries_an_image_through_a_fifo_of_any_name_and_takes_nothing_behind_it) {
  const ScratchFile fifo(".fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const Picture picture = Picture(fifo.path(), "pipe").window({0, 999, 0, 99}).active({10, 990, 5, 95});
  const Bytes stream = stream_of(picture);
  Bytes twice_and_more = stream;
  twice_and_more.insert(twice_and_more.end(), stream.begin(), stream.end());
  twice_and_more.insert(twice_and_more.end(), {'t', 'a', 'i', 'l'});
  // Open at both ends here, so that the FIFO keeps its bytes between its readers.
  const int both_ends = ::open(fifo.c_str(), O_RDWR);
  std::thread sender([&] { write_to(both_ends, twice_and_more); });
  EXPECT_EQ(compare_whole(picture), "");
  EXPECT_EQ(compare_whole(picture), "") << "the second of two streams";
  sender.join();
  char tail[8];
  EXPECT_EQ(::read(both_ends, tail, sizeof tail), 4);
  EXPECT_EQ(std::string(tail, 4), "tail");
  ::close(both_ends);
  ORB_exit();
}

TEST(PipeFifo, writes_an_image_into_a_fifo) {
  const ScratchFile fifo(".fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const Picture picture = Picture(fifo.path(), "pipe").top_down();
  Bytes arrived;
  std::thread receiver([&] {
    const int end = ::open(fifo.c_str(), O_RDONLY);
    unsigned char piece[100];
    for (ssize_t n; (n = ::read(end, piece, sizeof piece)) > 0;)
      arrived.insert(arrived.end(), piece, piece + n);
    ::close(end);
  });
  EXPECT_EQ(write_whole(picture), 0);
  receiver.join();
  const ScratchFile file(".pipe");
  file.write(arrived);
  EXPECT_EQ(compare_whole(Picture(file.path()).top_down()), "");
  ORB_exit();
}

TEST(PipeFifo, reports_once_that_the_reader_went_away_and_lives_on) {
  const ScratchFile fifo(".fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  ASSERT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_DFL) << "a broken pipe would end this process";
  const Picture picture = Picture(fifo.path(), "pipe").window({0, 29999, 0, 9});
  std::thread receiver([&] { ::close(::open(fifo.c_str(), O_RDONLY)); });
  ReportRecorder recorder;
  ORB_IMAGE* handle = open_image(picture, "w");
  receiver.join();
  if (!handle) {  // it was gone before the header came
    EXPECT_EQ(orb__err, -20);
  } else {
    int32_t code = 0;
    int32_t line = 0;
    while (line < 10 && code == 0) code = write_line(handle, picture, line++);
    EXPECT_EQ(code, -20);
    EXPECT_EQ(write_line(handle, picture, line), -20);
    orb__err = 0;
    EXPECT_EQ(ORB_close(handle), -20);
    EXPECT_EQ(orb__err, -20);
  }
  ASSERT_EQ(recorder.reports.size(), 1u) << recorder.texts();
  EXPECT_NE(recorder.texts().find("Broken pipe"), std::string::npos) << recorder.texts();
  EXPECT_TRUE(::access(fifo.c_str(), F_OK) == 0) << "the FIFO is not the writer's to remove";
  ORB_exit();
}

TEST(PipeFifo, reports_a_full_disk_at_the_open_when_not_even_the_header_fits) {
  const Picture picture("/dev/full", "pipe");
  ReportRecorder recorder;
  EXPECT_EQ(open_image(picture, "w"), nullptr);
  EXPECT_EQ(orb__err, -20);
  EXPECT_EQ(recorder.texts(), "Cannot write to /dev/full; No space left on device");
  EXPECT_EQ(::access("/dev/full", F_OK), 0);
  ORB_exit();
}

// No file grows over so many bytes within a block.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &saved_);
    const rlimit limit = {bytes, saved_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &saved_); }

 private:
  rlimit saved_;
};

TEST(PipeFifo, removes_the_file_of_a_failed_open_only_if_it_has_made_it) {
  const ScratchFile file(".pipe");
  const Picture picture(file.path());
  ReportRecorder recorder;
  {
    const FileSizeLimit limit(100);
    EXPECT_EQ(open_image(picture, "w"), nullptr);
    EXPECT_EQ(orb__err, -20);
    EXPECT_FALSE(file.exists());
    file.write({'x'});
    EXPECT_EQ(open_image(picture, "w"), nullptr);
    EXPECT_TRUE(file.exists());
  }
  EXPECT_EQ(recorder.reports.size(), 2u);
  ORB_exit();
}

TEST(PipeFifo, says_which_line_or_that_the_close_found_no_room) {
  const ScratchFile file(".pipe");
  const struct {
    int32_t pixels;
    const char* report;
  } rows[] = {{40000, "Cannot write scanline 0; File too large"},  // longer than any buffer
              {100, "Cannot write to "}};                          // all in the buffer until the close
  for (const auto& row : rows) {
    const Picture picture = Picture(file.path()).window({0, row.pixels - 1, 0, 4});
    ReportRecorder recorder;
    {
      const FileSizeLimit limit(1000);
      EXPECT_EQ(write_whole(picture), -20);
    }
    EXPECT_EQ(orb__err, -20);
    ASSERT_EQ(recorder.reports.size(), 1u) << recorder.texts();
    EXPECT_EQ(recorder.texts().find(row.report), 0u) << recorder.texts();
    EXPECT_NE(compare_whole(picture), "") << "a cut stream";
  }
  ORB_exit();
}

TEST(PipeFifo, reports_what_the_system_says_when_a_file_cannot_be_opened) {
  const std::string directory = ::testing::TempDir();
  const std::string long_name = directory + std::string(100000, 'n') + ".pipe";
  const struct {
    std::string name;
    const char* reason;
  } rows[] = {{directory + "no/such/folder.pipe", "No such file or directory"},
              {directory + "/", "Is a directory"},
              {long_name, "File name too long"}};
  for (const auto& row : rows) {
    for (const char* mode : {"r", "w"}) {
      ReportRecorder recorder;
      const Picture picture(row.name, "pipe");
      ORB_INFO info = picture.info();
      info.open_option = 1;
      EXPECT_EQ(ORB_open(&info, mode), nullptr);
      EXPECT_EQ(orb__err, -5);
      // A report is cut where its buffer ends.
      EXPECT_EQ(recorder.texts().find("Cannot open file "), 0u);
      if (row.name.size() < 1000) {
        EXPECT_EQ(recorder.texts(), "Cannot open file " + row.name + "; " + row.reason);
      }
    }
  }
  ORB_exit();
}

TEST(PipeFifo, is_file_neither_waits_for_a_fifo_nor_takes_from_it) {
  const ScratchFile fifo(".fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(pipe_is_file(fifo.c_str(), nullptr), 0) << "nobody writes to it";
  const int both_ends = ::open(fifo.c_str(), O_RDWR | O_NONBLOCK);
  write_to(both_ends, {'O', 'R', 'B', 'p', 'i', 'p', 'e', 0x1a});
  EXPECT_EQ(pipe_is_file(fifo.c_str(), nullptr), 0);
  char bytes[16];
  EXPECT_EQ(::read(both_ends, bytes, sizeof bytes), 8);
  ::close(both_ends);
}

TEST(PipeFifo, uses_the_standard_streams_and_leaves_them_open) {
  const ScratchFile file(".stream");
  const Picture to_stdout("/dev/stdout", "pipe");
  const Picture from_stdin("/dev/stdin", "pipe");
  std::fflush(stdout);
  const int target = ::open(file.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  {
    const Redirect redirect(target, 1);
    EXPECT_EQ(write_whole(to_stdout), 0);
    std::fputs("behind", stdout);
    std::fflush(stdout);
  }
  ::lseek(target, 0, SEEK_SET);
  {
    const Redirect redirect(target, 0);
    std::clearerr(stdin);
    EXPECT_EQ(compare_whole(from_stdin), "");
    char rest[16] = {};
    EXPECT_EQ(std::fread(rest, 1, sizeof rest, stdin), 6u) << "what follows is the process's next read";
    EXPECT_STREQ(rest, "behind");
  }
  ::close(target);
  ORB_exit();
}

}  // namespace
}  // namespace orb::testing
