// What the tool says and does about samples that a format does not keep.
#include <gmock/gmock.h>

#include <filesystem>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

TEST(ConvertToJpeg, changed_samples_are_refused_unless_they_are_asked_for_by_name) {
  const Folder folder;
  write_noise_png(folder.path("in.png"), 8, 8, 8, 2);
  const struct {
    std::vector<std::string> more;
    int status;
    const char* says;
  } rows[] = {
      {{},
       5,
       "out.jpg: samples: they are not kept exactly (--allow-lossy, or --set with the format's own quality)"},
      {{"--set", "subsampling=4:2:0"}, 5, "samples: they are not kept exactly"},
      {{"--allow-lossy"}, 0, "out.jpg: samples: they are not kept exactly\n"},
      {{"--set", "quality=100"}, 0, ""},
      {{"--set", "quality=101"}, 5, "jpeg cannot handle the requested action"}};
  for (const auto& row : rows) {
    std::filesystem::remove(folder.path("out.jpg"));
    std::vector<std::string> arguments = {"convert", "in.png", "-o", "out.jpg"};
    arguments.insert(arguments.end(), row.more.begin(), row.more.end());
    const Outcome outcome = orb(folder, arguments);
    EXPECT_EQ(outcome.status, row.status) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(row.says));
    EXPECT_EQ(std::filesystem::exists(folder.path("out.jpg")), row.status == 0);
  }
  // Reading gives what is there: a copy of that keeps its samples, and needs no word.
  EXPECT_EQ(orb(folder, {"convert", "in.png", "-o", "out.jpg", "--set", "quality=80"}).status, 0);
  EXPECT_EQ(orb(folder, {"convert", "out.jpg", "-o", "out.png"}).status, 0);
}

}  // namespace
}  // namespace orb::testing
