// The work behind orb ls and orb frames without the tool around it: a folder of 10,000 frames, a range and names,
// which the library's builder then makes once more.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>

#include "frames/on_disk.h"
#include "orbbase/naming.h"

namespace {

using orb::frames::Frame;
using orb::frames::FramePattern;
using orb::frames::FrameRange;

constexpr int kRounds = 9;
constexpr double kGoalMilliseconds = 20;
constexpr const char* kRange = "1001-11000";

// A folder of empty frames, gone at the end.
class Frames {
 public:
  Frames() {
    std::string name = std::filesystem::temp_directory_path() / "orb-frames-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a folder");
    folder_ = name;
    const FramePattern pattern = FramePattern::parse(folder_ + "/shot_v002.####.exr");
    for (const Frame frame : FrameRange::parse(kRange)) {
      close(open(pattern.name(frame).c_str(), O_CREAT | O_WRONLY, 0600));
    }
  }
  ~Frames() { std::filesystem::remove_all(folder_); }
  Frames(const Frames&) = delete;
  Frames& operator=(const Frames&) = delete;
  [[nodiscard]] const std::string& folder() const { return folder_; }

 private:
  std::string folder_;
};

// All of it once; gives back whether every name was the one of a frame in the folder.
bool list_and_build(const std::string& folder) {
  const orb::frames::Listing listing = orb::frames::list_folder(folder);
  if (listing.sequences.size() != 1) return false;
  const FrameRange range = FrameRange::parse(listing.sequences[0].range().text());
  const FramePattern& pattern = listing.sequences[0].pattern;
  std::string name;
  size_t bytes = 0;
  for (const Frame frame : range) {
    pattern.name(frame, name);
    bytes += name.size();
  }
  return range.text() == kRange &&
         bytes == 8999 * pattern.name(1001).size() + 1001 * pattern.name(11000).size();
}

bool build_with_syntax(const std::string& folder) {
  const std::string name = folder + "/shot_v002.1001.mem";
  char path[ORB_PATHNAME_BYTES];
  size_t built = 0;
  for (const Frame frame : FrameRange::parse(kRange)) {
    int32_t number = frame;
    built += ORB_pathname_build("name.####.ext", name.c_str(), "mem", nullptr, ORB_PATHNAME_FRAME, 0, &number,
                                path, nullptr, nullptr, nullptr);
  }
  return built == 10000 && path == folder + "/shot_v002.11000.mem";
}

}  // namespace

int main() {
  const Frames frames;
  double least = std::numeric_limits<double>::infinity();
  for (int round = 0; round < kRounds; ++round) {
    const std::clock_t start = std::clock();  // the processor's time: what else runs does not count
    const bool is_right = list_and_build(frames.folder()) && build_with_syntax(frames.folder());
    const double took = 1e3 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    if (!is_right) {
      std::fputs("frames_bench: the folder was not read as it is\n", stderr);
      return 1;
    }
    least = std::min(least, took);
  }
  std::printf("listing, range and twice the names of 10000 frames: %.2f ms (goal %.0f ms, best of %d)\n",
              least, kGoalMilliseconds, kRounds);
  return least <= kGoalMilliseconds ? 0 : 1;
}
