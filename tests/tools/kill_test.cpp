// A run that is killed: each target is the old file whole or the new one whole, and --only-missing does the rest.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <random>
#include <sstream>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

constexpr int kFrames = 4;

bool is_all_wanted() { return std::getenv("ORB_TRUST_ALL") != nullptr; }

std::string frame_name(const std::string& stem, int frame) {
  return stem + ".000" + std::to_string(frame) + (stem == "in" ? ".png" : ".ppm");
}

// Frames to convert, and what they become when nobody interferes.
struct Work {
  Work() {
    for (int frame = 1; frame <= kFrames; ++frame) {
      write_noise_png(folder.path(frame_name("in", frame)), 40, static_cast<uint32_t>(20 + frame), 8, 2);
    }
    const Outcome run = shell(folder, "\"$ORB\" convert -q in.####.png -o whole.####.ppm --frames 1-4");
    EXPECT_EQ(run.status, 0) << run.err;
    for (int frame = 1; frame <= kFrames; ++frame) whole.push_back(bytes_of(path("whole", frame)));
  }

  [[nodiscard]] std::string path(const std::string& stem, int frame) const {
    return folder.path(frame_name(stem, frame));
  }

  // Odd frames have an old file, even ones none.
  void reset() const {
    shell(folder, "rm -f .*.orb-* out.*");
    for (int frame = 1; frame <= kFrames; frame += 2) put_bytes(path("out", frame), "old");
  }

  // What is wrong with the targets after a kill, and then after a second run; empty: nothing.
  [[nodiscard]] std::string complaint() const {
    std::string text;
    for (int frame = 1; frame <= kFrames; ++frame) {
      const std::string bytes = bytes_of(path("out", frame));
      const bool is_old = frame % 2 == 1 ? bytes == "old" : !std::filesystem::exists(path("out", frame));
      if (!is_old && bytes != whole[static_cast<size_t>(frame - 1)]) text += "frame " + std::to_string(frame);
      if (bytes == "old") std::filesystem::remove(path("out", frame));
    }
    const Outcome again =
        shell(folder, "\"$ORB\" convert -q --only-missing in.####.png -o out.####.ppm --frames 1-4");
    if (again.status != 0) text += " again: " + again.err;
    for (int frame = 1; frame <= kFrames; ++frame) {
      if (bytes_of(path("out", frame)) != whole[static_cast<size_t>(frame - 1)]) text += " not completed";
    }
    return text;
  }

  Folder folder;
  std::vector<std::string> whole;
};

constexpr const char* kConvert = "\"$ORB\" convert -q -f in.####.png -o out.####.ppm --frames 1-4 -j2";

// How often each process makes each system call, at most.
std::map<std::string, int> system_calls(const Work& work) {
  work.reset();
  shell(work.folder, std::string("strace -f -qq -o trace ") + kConvert);
  std::istringstream trace(bytes_of(work.folder.path("trace")));
  std::map<std::pair<int, std::string>, int> counts;
  int process = 0;
  for (std::string call; trace >> process && std::getline(trace >> std::ws, call);) {
    const size_t end = call.find('(');
    const bool is_call =
        end != std::string::npos && call.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == end;
    if (is_call) ++counts[{process, call.substr(0, end)}];
  }
  std::map<std::string, int> most;
  for (const auto& [key, count] : counts) most[key.second] = std::max(most[key.second], count);
  return most;
}

// The sanitizers' own work at the end is not for a traced process.
class Kill : public ::testing::Test {
 protected:
  void SetUp() override {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "a traced process has no leak checker";
#endif
  }
};

TEST_F(Kill, at_a_system_call_of_any_process_leaves_whole_files) {
  const Work work;
  if (shell(work.folder, "strace -qq -o /dev/null true").status != 0) GTEST_SKIP() << "no right to trace";
  const std::map<std::string, int> calls = system_calls(work);
  ASSERT_TRUE(calls.contains("rename")) << "the trace was not understood";
  int runs = 0;
  int kills = 0;
  for (const auto& [call, count] : calls) {
    // The first, the last and some between them, or every one.
    const int step = is_all_wanted() ? 1 : std::max(count / 2, 1);
    for (int nth = 1; nth <= count; nth += step) {
      work.reset();
      const std::string inject = "-e inject=" + call + ":signal=KILL:when=" + std::to_string(nth);
      const Outcome run = shell(work.folder, "strace -f -qq -o /dev/null " + inject + ' ' + kConvert);
      ASSERT_EQ(work.complaint(), "") << call << ' ' << nth;
      ++runs;
      if (run.status != 0) ++kills;
    }
  }
  RecordProperty("kills", kills);
  // A process waits for another a different number of times each run.
  EXPECT_GE(kills * 10, runs * 9) << runs;
}

TEST_F(Kill, at_a_random_moment_leaves_whole_files) {
  const Work work;
  const auto start = std::chrono::steady_clock::now();
  work.reset();
  shell(work.folder, kConvert);
  const std::chrono::duration<double> usual = std::chrono::steady_clock::now() - start;
  std::mt19937 random(20);
  std::uniform_real_distribution<double> moment(0.0, usual.count());
  for (int round = 0; round < (is_all_wanted() ? 200 : 20); ++round) {
    work.reset();
    // The process alone, and every second time its workers too; the output ends when all of them have.
    const std::string whom = round % 2 == 0 ? "--foreground " : "";
    shell(work.folder, "timeout -s KILL " + whom + std::to_string(moment(random)) + ' ' + kConvert);
    ASSERT_EQ(work.complaint(), "") << round;
  }
}

}  // namespace
}  // namespace orb::testing
