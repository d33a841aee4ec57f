// The module as it is installed, through the real tool.
#include <gmock/gmock.h>

#include "oracle.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

TEST(ConvertExr, goes_through_other_formats_and_back_sample_for_sample) {
  const Folder folder;
  const Stored scene = {.data = {{3, 2}, {30, 33}},
                        .channels = {{"A"}, {"B"}, {"G"}, {"R"}, {"Z", Imf::FLOAT}}};
  save_exr(folder.path("scene.exr"), {scene});
  for (const char* through : {"out.rla", "out.pipe"}) {
    const Outcome there = orb(folder, {"convert", "scene.exr", "-o", through});
    ASSERT_EQ(there.status, 0) << there.err;
    const Outcome back = orb(folder, {"convert", "-f", through, "-o", "back.exr"});
    ASSERT_EQ(back.status, 0) << back.err;
    EXPECT_EQ(load_exr(folder.path("back.exr")).samples, load_exr(folder.path("scene.exr")).samples);
    EXPECT_EQ(load_exr(folder.path("back.exr")).header.dataWindow(), scene.data);
  }
  EXPECT_THAT(orb(folder, {"formats"}).out, HasSubstr("exr"));
  EXPECT_THAT(orb(folder, {"info", "-v", "scene.exr"}).out, HasSubstr("active window"));
}

TEST(ConvertExr, changed_samples_are_refused_unless_they_are_asked_for_by_name) {
  const Folder folder;
  save_exr(folder.path("in.exr"), {{}});
  const struct {
    std::vector<std::string> more;
    int status;
    const char* says;
  } rows[] = {
      {{"--set", "compression=b44"}, 0, ""},
      {{"--set", "compression=b44", "--set", "samples=half"}, 5, "samples: they are not kept exactly"},
      {{"--set", "compression=pxr24"}, 5, "samples: they are not kept exactly"},
      {{"--set", "compression=pxr24", "--allow-lossy"}, 0, ""},
      {{"--set", "samples=half"}, 0, ""}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"convert", "-f", "in.exr", "-o", "out.exr"};
    arguments.insert(arguments.end(), row.more.begin(), row.more.end());
    const Outcome outcome = orb(folder, arguments);
    EXPECT_EQ(outcome.status, row.status) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(row.says));
  }
}

}  // namespace
}  // namespace orb::testing
