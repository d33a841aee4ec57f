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

// A FIFO, a file's name, and an image under each.
class PipeFifo : public ::testing::Test {
 protected:
  PipeFifo() { EXPECT_EQ(::mkfifo(fifo.c_str(), 0600), 0); }
  ~PipeFifo() override { ORB_exit(); }

  const ScratchFile fifo{".fifo"};
  const ScratchFile file{".pipe"};
  const Picture through_fifo{fifo.path(), "pipe"};
  const Picture in_file{file.path()};
  ReportRecorder recorder;
};

TEST_F(PipeFifo, carries_an_image_through_a_fifo_of_any_name_and_takes_nothing_behind_it) {
  const Picture picture = Picture(through_fifo).window({0, 999, 0, 99}).active({10, 990, 5, 95});
  Picture copy = picture;
  copy.name = file.path();
  ASSERT_EQ(write_whole(copy), 0);
  const Bytes stream = file.read();
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
}

TEST_F(PipeFifo, reports_once_that_the_reader_went_away_and_lives_on) {
  ASSERT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_DFL) << "a broken pipe would end this process";
  const Picture picture = Picture(through_fifo).window({0, 29999, 0, 9});
  std::thread receiver([&] { ::close(::open(fifo.c_str(), O_RDONLY)); });
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
  EXPECT_TRUE(::access(fifo.c_str(), F_OK) == 0) << "the FIFO is not the writer's to remove";
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

TEST_F(PipeFifo, of_which_not_even_the_header_fits_removes_the_file_only_if_it_has_made_it) {
  {
    const FileSizeLimit limit(100);
    EXPECT_EQ(in_file.open("w"), nullptr);
    EXPECT_EQ(orb__err, -20);
    EXPECT_FALSE(file.exists());
    file.write({'x'});
    EXPECT_EQ(in_file.open("w"), nullptr);
    EXPECT_TRUE(file.exists());
  }
  EXPECT_EQ(recorder.reports.size(), 2u);
  recorder.clear();
  EXPECT_EQ(Picture("/dev/full", "pipe").open("w"), nullptr);
  EXPECT_EQ(recorder.texts(), "Cannot write to /dev/full; No space left on device");
  EXPECT_EQ(::access("/dev/full", F_OK), 0);
}

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
  const std::string directory = ::testing::TempDir();
  const struct {
    std::string name;
    const char* reason;
  } rows[] = {{directory + "no/such/folder.pipe", "; No such file or directory"},
              {directory + "/", "; Is a directory"},
              {directory + std::string(100000, 'n') + ".pipe", ""}};  // cut where the report's buffer ends
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
  EXPECT_EQ(pipe_is_file(fifo.c_str(), nullptr), 0) << "nobody writes to it";
  const int both_ends = ::open(fifo.c_str(), O_RDWR | O_NONBLOCK);
  write_to(both_ends, {'O', 'R', 'B', 'p', 'i', 'p', 'e', 0x1a});
  EXPECT_EQ(pipe_is_file(fifo.c_str(), nullptr), 0);
  char bytes[16];
  EXPECT_EQ(::read(both_ends, bytes, sizeof bytes), 8);
  ::close(both_ends);
}

TEST_F(PipeFifo, uses_the_standard_streams_and_leaves_them_open) {
  std::fflush(stdout);
  const int target = ::open(file.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  {
    const Redirect redirect(target, 1);
    EXPECT_EQ(write_whole(Picture("/dev/stdout", "pipe")), 0);
    std::fputs("behind", stdout);
    std::fflush(stdout);
  }
  ::lseek(target, 0, SEEK_SET);
  {
    const Redirect redirect(target, 0);
    std::clearerr(stdin);
    EXPECT_EQ(compare_whole(Picture("/dev/stdin", "pipe")), "");
    char rest[16] = {};
    EXPECT_EQ(std::fread(rest, 1, sizeof rest, stdin), 6u) << "what follows is the process's next read";
    EXPECT_STREQ(rest, "behind");
  }
  ::close(target);
}

}  // namespace
}  // namespace orb::testing
