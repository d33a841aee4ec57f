#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>

#include "orbbase/platform/platform.h"

namespace orb::testing {
namespace {

// A file name in the working folder, removed at the end.
class Files : public ::testing::Test {
 protected:
  void TearDown() override { std::remove(path.c_str()); }
  int64_t bytes_of_one_line() {
    std::FILE* stream = std::fopen(path.c_str(), "w");
    if (!stream) return -1;
    std::fputs("\n", stream);
    std::fclose(stream);
    platform::FileStatus status;
    return platform::file_status(path.c_str(), &status) == 0 ? status.size_bytes : -1;
  }
  const std::string path =
      std::string("files_test_") + ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".tmp";
};

TEST_F(Files, opened_in_a_binary_block_are_binary_and_the_mode_before_comes_back) {
  const int64_t before = bytes_of_one_line();
  {
    const platform::BinaryFileMode outer;
    { const platform::BinaryFileMode inner; }
    EXPECT_EQ(bytes_of_one_line(), 1);
  }
  EXPECT_EQ(bytes_of_one_line(), before);
}

TEST_F(Files, show_their_kind_size_and_time) {
  const std::time_t now = std::time(nullptr);
  const platform::BinaryFileMode binary;
  ASSERT_EQ(bytes_of_one_line(), 1);
  platform::FileStatus status;
  ASSERT_EQ(platform::file_status(path.c_str(), &status), 0);
  EXPECT_TRUE(status.is_regular && !status.is_directory);
  EXPECT_NEAR(static_cast<double>(status.changed_seconds), static_cast<double>(now), 60);
  ASSERT_EQ(platform::file_status(".", &status), 0);
  EXPECT_TRUE(status.is_directory && !status.is_regular);
}

TEST_F(Files, that_are_missing_give_the_system_s_number_and_no_status) {
  platform::FileStatus status;
  status.size_bytes = 77;
  EXPECT_EQ(platform::file_status("no/such/file", &status), ENOENT);
  EXPECT_EQ(status.size_bytes, 77);
}

TEST_F(Files, are_positioned_beyond_four_gigabytes) {
  constexpr int64_t kFar = (int64_t{5} << 30) + 3;
  std::FILE* stream = std::fopen(path.c_str(), "wb");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(platform::seek_stream(stream, kFar, SEEK_SET), 0);
  EXPECT_EQ(platform::tell_stream(stream), kFar);
  EXPECT_EQ(platform::seek_stream(stream, -kFar, SEEK_CUR), 0);
  EXPECT_EQ(platform::tell_stream(stream), 0);
  EXPECT_NE(platform::seek_stream(stream, -1, SEEK_SET), 0);
  std::fclose(stream);
}

}  // namespace
}  // namespace orb::testing
