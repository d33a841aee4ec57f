// The same bytes wherever the tool runs: under a locale with a decimal comma, in another time zone, and whatever
// fresh memory holds.
#include <algorithm>

#include "tool_test.h"

namespace orb::testing {
namespace {

// Everything that a text of numbers goes through, and every writer. Dates in seconds become local times.
constexpr const char* kCommands[] = {
    "convert -q in.pipe -o out.rla",
    "convert -q in.pipe -o out.png",
    "convert -q in.pipe -o out.tiff --allow-lossy",
    "convert -q in.pipe -o out.ppm --allow-lossy",
    "convert -q in.pipe -o out.exr -d float --allow-lossy",
    "convert -q in.pipe -o out.jpeg --allow-lossy",
    "convert -q grey.png -o out.gif --allow-lossy",
    "convert -q out.png -o gamma.rla --gamma 1.8 --minmax 0.25,0.75 --region 1,1,4,3",
    "convert -q out.exr -o float.rla",
    "convert -q out.png -o small.rla --mipmap",
    "info out.ppm out.jpeg",
    "info --json out.ppm out.jpeg",
    "check out.rla out.png out.jpeg",
    "diff --fail 1000 out.png out.rla",
    "curve --help",
    "config",
    "formats --json",
    "ls --json",
    "view out.png --color never",
};

// Whatever a writer would fill in by itself, which is not the same each time.
void declare_texts(ORB_INFO& info, ORB_IFD& image) {
  static char program[] = "a program", host[] = "host", user[] = "user";
  static char date[] = "2023:11:14 22:13:20", elapsed[] = "0.25";
  info.text4 = program;
  info.text5 = host;
  info.text6 = user;
  info.text7 = date;
  info.text8 = elapsed;
  image.pixel_aspect = 1.0625F;
  image.curve.gamma = 2.25F;
}

// What all commands say and leave behind.
std::string all_results(const std::vector<std::string>& environment) {
  for (const std::string& name : names()) std::filesystem::remove(name);
  PipeFile picture;
  picture.change = declare_texts;
  picture.write("in.pipe");
  write_noise_png("grey.png", 9, 7, 8, 0);
  std::string results;
  for (const char* command : kCommands) {
    const Outcome run = expect({command}, {.environment = environment});
    results += run.out + run.err;
  }
  for (const std::string& name : names()) results += name + bytes_of(name);
  return results;
}

TEST(SameEverywhere, are_texts_and_files_under_any_locale_time_zone_and_fresh_memory) {
  const std::string usual = all_results({"LC_ALL=C", "TZ=UTC"});
  for (const char* fill : {"MALLOC_PERTURB_=85", "MALLOC_PERTURB_=170"}) {
    const std::string elsewhere =
        all_results({"LOCPATH=" ORB_TEST_LOCALES, "LC_ALL=de_DE.utf8", "TZ=Asia/Kathmandu", fill});
    const auto at = std::ranges::mismatch(usual, elsewhere).in1 - usual.begin();
    EXPECT_TRUE(usual == elsewhere) << fill << " differs behind: "
                                    << usual.substr(static_cast<size_t>(std::max<ptrdiff_t>(at - 200, 0)),
                                                    200);
  }
}

}  // namespace
}  // namespace orb::testing
