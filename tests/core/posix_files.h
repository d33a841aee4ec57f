// What only POSIX systems do to files, for the length of a block.
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tests/core/files.h"
#include "tests/core/picture.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {

// No file grows over so many bytes.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit = {bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &before_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_ = {};
};

// A file in the place of a standard stream's descriptor.
class Redirect {
 public:
  Redirect(const char* path, int flags, int descriptor) : to_(descriptor), before_(::dup(descriptor)) {
    std::fflush(stdout);
    const int file = ::open(path, flags, 0600);
    ::dup2(file, to_);
    ::close(file);
  }
  ~Redirect() {
    std::fflush(stdout);
    ::dup2(before_, to_);
    ::close(before_);
  }
  Redirect(const Redirect&) = delete;
  Redirect& operator=(const Redirect&) = delete;

 private:
  int to_, before_;
};

// A file of which not even the header fits goes only if the writer has made it.
inline void expect_only_own_file_removed(const std::string& key) {
  const ReportRecorder recorder;
  Picture device("/dev/full", key.c_str());
  ORB_INFO exact = device.info();
  exact.open_option = 1;
  EXPECT_EQ(ORB_open(&exact, "w"), nullptr);
  EXPECT_EQ(recorder.texts(), "Cannot write to /dev/full; No space left on device");
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
  put_file("old." + key, {'x'});
  const FileSizeLimit limit(100);
  for (const char* name : {"old.", "new."}) EXPECT_EQ(write_whole(Picture(name + key)), -20) << name;
  EXPECT_TRUE(exists("old." + key) && !exists("new." + key));
  EXPECT_EQ(recorder.reports.size(), 3u) << recorder.texts();
}

}  // namespace orb::testing
