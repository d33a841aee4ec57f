// Files that are cut, damaged, foreign or meant to do harm.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <thread>

#include "gif_file.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

class Damage : public GifTest {
 protected:
  Damage() { ORB_multiframe_set(0, 0); }  // each open is a fresh one
};

const GifFile kFile = {4,
                       2,
                       {{.picture = "abcd/dcba"},
                        {.left = 1, .picture = "bc", .disposal = 3},
                        {.picture = "dd", .disposal = 2}}};

// Opens and reads every frame: the first code that is not 0.
int32_t read_frames(const std::string& bytes) {
  save("in.gif", bytes);
  const Image image = open_gif("in.gif");
  if (!image) return orb__err;
  for (int32_t frame = 1; frame <= image->info.frame_count; ++frame) {
    if (const int32_t code = ORB_set_frame(image.get(), frame, 0, 0)) return code;
  }
  return shown(image.get()).empty() ? orb__err : 0;
}

std::string with(std::string bytes, size_t at, int value) {
  bytes[at] = static_cast<char>(value);
  return bytes;
}

TEST_F(Damage, no_cut_of_a_file_reads_as_a_whole_one) {
  const std::string whole = kFile.bytes();
  ASSERT_EQ(read_frames(whole), 0);
  for (size_t kept = 0; kept < whole.size(); ++kept) {
    reports.clear();
    EXPECT_EQ(read_frames(whole.substr(0, kept)), kept == 0 ? -8 : -18) << kept;
    EXPECT_EQ(reports.reports.size(), 1U) << kept << reports.texts();
  }
}

TEST_F(Damage, is_told_by_its_code_and_once) {
  const std::string file = kFile.bytes();
  const size_t first = file.find(',');  // descriptor: 10 bytes, code width, part length
  const GifFile unpainted = {1, 1, {{.picture = "a"}}, ""};
  const struct {
    const char* name;
    std::string bytes;
    int32_t code;
    const char* report;
  } rows[] = {
      {"empty", "", -8, "it is empty"},
      {"foreign", "RIFF" + file, -8, "does not begin as one"},
      {"an unknown version", with(file, 4, '8'), -8, "does not begin as one"},
      {"no columns", with(file, 6, 0), -8, "no pixels"},
      {"no rows", with(file, 8, 0), -8, "no pixels"},
      {"no frames", GifFile{1, 1, {}}.bytes(), -8, "no picture"},
      {"no palette", unpainted.bytes(), -8, "no palette"},
      {"an impossible code width", with(file, first + 10, 200), -7, "frame 1: its data are damaged"},
      {"codes of nonsense", with(file, first + 12, 0xFF), -7, "frame 1: its data are damaged"},
      {"too few codes", with(with(file, first + 7, 9), 8, 9), -7, "frame 1: its data are damaged"},
      {"a pixel without a colour", GifFile{1, 1, {{.picture = "d", .palette = std::string(6, '\1')}}}.bytes(),
       -7, "no colour"},
      {"a block of nonsense", with(file, file.size() - 1, 1), -18, "no end mark"},
  };
  for (const auto& row : rows) {
    reports.clear();
    EXPECT_EQ(read_frames(row.bytes), row.code) << row.name;
    EXPECT_THAT(reports.texts(), HasSubstr(row.report)) << row.name;
    std::erase_if(reports.reports, [](const auto& report) { return report.category < ERR_ERROR; });
    EXPECT_EQ(reports.reports.size(), 1U) << row.name;
  }
}

TEST_F(Damage, of_one_frame_leaves_the_others_to_be_read) {
  GifFile file = kFile;
  file.frames[1].palette = std::string(6, '\1');  // of a frame that draws index 2
  const Image image = open_gif(file);
  ASSERT_TRUE(image);
  EXPECT_EQ(shown(image.get()), "abcd/dcba");
  EXPECT_EQ(ORB_set_frame(image.get(), 2, 0, 0), -7);
  EXPECT_EQ(shown(image.get()), "abcd/dcba");  // what was current is again
}

TEST_F(Damage, claims_are_held_against_the_limits_before_memory_is_taken) {
  const struct {
    const char* name;
    GifFile file;
    uint64_t buffer_limit;
    int32_t code;
  } rows[] = {
      {"a screen of 16 GiB", {65535, 65535, {{.picture = "b"}}}, 0, -10},
      {"a screen over the limit", {20, 13, {{.picture = "b"}}}, 1039, -10},
      {"a screen at the limit", {20, 13, {{.picture = "b"}}}, 1040, 0},
      {"frames over the limit", {1, 1, std::vector<DrawnFrame>(200, {.picture = "b"})}, 4096, -10},
  };
  for (const auto& row : rows) {
    const uint64_t before = ORB_limit(ORB_LIMIT_BUFFER, row.buffer_limit);
    EXPECT_EQ(read_frames(row.file.bytes()), row.code) << row.name;
    ORB_limit(ORB_LIMIT_BUFFER, before);
  }
}

TEST_F(Damage, of_remarks_there_are_not_endlessly_many) {
  GifFile file = kFile;
  for (int i = 0; i < 500; ++i) file.extensions += std::string("\x21\xFF\x0BICCRGBG1012\x01x\0", 17);
  for (int i = 0; i < 500; ++i) file.extensions += comment(std::string(255, 'x'));
  EXPECT_EQ(read_frames(file.bytes()), 0);
  EXPECT_LT(reports.reports.size(), 70U);
  EXPECT_LT(std::string(open_gif("in.gif")->info.text3).size(), 65536U);
}

TEST_F(Damage, any_allocation_that_fails_fails_the_open_and_nothing_else) {
  GifFile file = kFile;
  file.extensions = comment("kept");
  save("in.gif", file.bytes());
  int64_t nth = 1;
  for (bool happened = true; happened; ++nth) {
    const FailAllocation fail(nth);
    const Image image = open_gif("in.gif");
    happened = fail.happened();
    EXPECT_TRUE(image || orb__err == -10) << nth;
    EXPECT_TRUE(image || happened) << nth;
  }
  EXPECT_GT(nth, 5);
}

TEST_F(Damage, is_not_what_a_pipe_is) {
  ASSERT_EQ(mkfifo("pipe.gif", 0600), 0);
  std::thread writer([] { std::ofstream("pipe.gif", std::ios::binary) << kFile.bytes(); });
  const Image image = open_gif("pipe.gif");
  writer.join();
  ASSERT_TRUE(image);
  EXPECT_EQ(ORB_set_frame(image.get(), 3, 0, 0), 0);
  EXPECT_EQ(shown(image.get()), "ddcd/dcba");
  EXPECT_EQ(ORB_set_frame(image.get(), 1, 0, 0), 0);
  EXPECT_EQ(shown(image.get()), "abcd/dcba");
}

}  // namespace
}  // namespace orb::testing
