// A disk without room: the target is the old file or the whole new one, and an error says why.
#include <sys/mount.h>

#include <algorithm>
#include <cstdlib>

#include "tool_test.h"

namespace orb::testing {
namespace {

namespace fs = std::filesystem;

// What is written, of a picture that the format can hold.
struct Case {
  const char* key;
  int png_color_type = 2;
  const char* options = "";
};
constexpr Case kCases[] = {{"png"}, {"tiff"}, {"jpeg"}, {"gif", 0}, {"pnm"}, {"exr", 2, "-d float"},
                           {"rla"}, {"pipe"}};

std::string convert(const Case& of, const std::string& target) {
  return std::string("orb convert -q -f --allow-lossy in.png ") + of.options + " --to " + of.key + " -o " +
         target;
}

// Some of the numbers below count with both ends, or all of them when ORB_TRUST_ALL is set.
std::vector<uint64_t> numbers_below(uint64_t count, uint64_t some) {
  const uint64_t step = std::getenv("ORB_TRUST_ALL") ? 1 : std::max<uint64_t>(count / some, 1);
  std::vector<uint64_t> numbers;
  for (uint64_t i = 0; i < count; i += step) numbers.push_back(i);
  if (numbers.empty() || numbers.back() + 1 != count) numbers.push_back(count - 1);
  return numbers;
}

class Disk : public ::testing::TestWithParam<Case> {
 protected:
  static void make_picture(uint32_t width, uint32_t height) {
    write_noise_png("in.png", width, height, 8, GetParam().png_color_type);
  }
};

TEST_P(Disk, that_takes_n_bytes_keeps_the_old_file_or_gets_the_whole_new_one) {
  make_picture(12, 9);
  ASSERT_EQ(shell(convert(GetParam(), "whole")).status, 0);
  const std::string whole = bytes_of("whole");
  for (const uint64_t limit : numbers_below(whole.size() + 1, 9)) {
    put_bytes("old", "old");
    const std::string command = "prlimit --fsize=" + std::to_string(limit) + ' ';
    const Outcome run = shell(command + convert(GetParam(), "old"));
    const bool has_room = limit == whole.size();
    // A writer that goes back over its file may need more than the file ends with.
    if (!has_room || run.status != 0) {
      EXPECT_EQ(run.status, 4) << limit;
      EXPECT_THAT(run.err, HasSubstr("File too large")) << limit << run.err;
    }
    EXPECT_EQ(bytes_of("old"), run.status == 0 ? whole : "old") << limit;
    EXPECT_THAT(names(), ElementsAre("in.png", "old", "whole")) << limit;
  }
}

TEST_P(Disk, that_is_full_keeps_the_old_file) {
  fs::create_directory("disk");
  if (mount("none", "disk", "tmpfs", 0, "size=64k") != 0) GTEST_SKIP() << "no right to mount";
  make_picture(400, 300);
  put_bytes("disk/old", "old");
  for (const char* target : {"disk/old", "disk/new"}) {
    const Outcome run = shell(convert(GetParam(), target));
    EXPECT_EQ(run.status, 4) << target;
    EXPECT_THAT(run.err, HasSubstr("No space left on device")) << run.err;
    EXPECT_EQ(bytes_of("disk/old"), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator("disk"), fs::directory_iterator()), 1) << target;
  }
  umount("disk");
}

TEST_P(Disk, as_a_full_device_is_an_error) {
  make_picture(12, 9);
  for (const char* target : {"/dev/full", "- > /dev/full"}) {
    const Outcome run = shell(convert(GetParam(), target));
    EXPECT_EQ(run.status, 4) << target << run.err;
    EXPECT_THAT(run.err, HasSubstr("No space left on device")) << target << run.err;
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, Disk, ::testing::ValuesIn(kCases),
                         [](const auto& of) { return std::string(of.param.key); });

}  // namespace
}  // namespace orb::testing
