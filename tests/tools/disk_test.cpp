// A disk without room: the target is the old file or the whole new one, and an error says why.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>
#include <cstdlib>

#include "pictures.h"
#include "run_orb.h"

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
  return std::string("\"$ORB\" convert -q -f --allow-lossy in.png ") + of.options + " --to " + of.key +
         " -o " + target;
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
  void make_picture(const Folder& folder, uint32_t width, uint32_t height) const {
    write_noise_png(folder.path("in.png"), width, height, 8, GetParam().png_color_type);
  }
};

TEST_P(Disk, that_takes_n_bytes_keeps_the_old_file_or_gets_the_whole_new_one) {
  const Folder folder;
  make_picture(folder, 12, 9);
  ASSERT_EQ(shell(folder, convert(GetParam(), "whole")).status, 0);
  const std::string whole = bytes_of(folder.path("whole"));
  const std::vector<std::string> names = {"in.png", "old", "whole"};
  for (const uint64_t limit : numbers_below(whole.size() + 1, 9)) {
    put_bytes(folder.path("old"), "old");
    const std::string command = "prlimit --fsize=" + std::to_string(limit) + ' ';
    const Outcome run = shell(folder, command + convert(GetParam(), "old"));
    const bool has_room = limit == whole.size();
    // A writer that goes back over its file may need more than the file ends with.
    if (!has_room || run.status != 0) {
      EXPECT_EQ(run.status, 4) << limit;
      EXPECT_NE(run.err.find("File too large"), std::string::npos) << limit << run.err;
    }
    EXPECT_EQ(bytes_of(folder.path("old")), run.status == 0 ? whole : "old") << limit;
    EXPECT_EQ(folder.names(), names) << limit;
  }
}

TEST_P(Disk, that_is_full_keeps_the_old_file) {
  const Folder folder;
  const std::string disk = folder.path("disk");
  fs::create_directory(disk);
  if (mount("none", disk.c_str(), "tmpfs", 0, "size=64k") != 0) GTEST_SKIP() << "no right to mount";
  make_picture(folder, 400, 300);
  put_bytes(disk + "/old", "old");
  for (const char* target : {"disk/old", "disk/new"}) {
    const Outcome run = shell(folder, convert(GetParam(), target));
    EXPECT_EQ(run.status, 4) << target;
    EXPECT_NE(run.err.find("No space left on device"), std::string::npos) << run.err;
    EXPECT_EQ(bytes_of(disk + "/old"), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(disk), fs::directory_iterator()), 1) << target;
  }
  umount(disk.c_str());
}

TEST_P(Disk, as_a_full_device_is_an_error) {
  const Folder folder;
  make_picture(folder, 12, 9);
  for (const char* target : {"/dev/full", "- > /dev/full"}) {
    const Outcome run = shell(folder, convert(GetParam(), target));
    EXPECT_EQ(run.status, 4) << target << run.err;
    EXPECT_NE(run.err.find("No space left on device"), std::string::npos) << target << run.err;
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, Disk, ::testing::ValuesIn(kCases),
                         [](const auto& of) { return std::string(of.param.key); });

}  // namespace
}  // namespace orb::testing
