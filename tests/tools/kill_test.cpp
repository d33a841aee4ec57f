// A run that is killed: each target is the old file whole or the new one whole, and --only-missing does the rest.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <random>
#include <sstream>

#include "tool_test.h"

namespace orb::testing {
namespace {

const bool kIsAllWanted = std::getenv("ORB_TRUST_ALL") != nullptr;
const std::string kFrames = "in.####.png -o out.####.ppm --frames 1-4 ";
const std::string kConvert = "orb convert -q -f -j2 " + kFrames;

std::string target(int frame) { return "out.000" + std::to_string(frame) + ".ppm"; }

// Odd frames have an old file, even ones none.
void reset() {
  shell("rm -f .*.orb-* out.*");
  for (const int frame : {1, 3}) put_bytes(target(frame), "old");
}

// The sanitizers' own work at the end is not for a traced process.
class Kill : public ::testing::Test {
 protected:
  void SetUp() override {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "a traced process has no leak checker";
#endif
    for (int frame = 1; frame <= 4; ++frame) {
      write_noise_png("in.000" + std::to_string(frame) + ".png", 40, static_cast<uint32_t>(20 + frame), 8, 2);
    }
    expect("convert -q " + kFrames, 0);
    for (int frame = 1; frame <= 4; ++frame) whole_[frame] = bytes_of(target(frame));
  }

  // What is wrong with the targets after a kill, and then after a second run; empty: nothing.
  std::string complaint() {
    std::string text;
    for (auto& [frame, whole] : whole_) {
      const std::string bytes = bytes_of(target(frame));
      const bool is_old = frame % 2 == 1 ? bytes == "old" : !std::filesystem::exists(target(frame));
      if (!is_old && bytes != whole) text += "frame " + std::to_string(frame);
      if (bytes == "old") std::filesystem::remove(target(frame));
    }
    const Outcome again = shell("orb convert -q --only-missing " + kFrames);
    if (again.status != 0) text += " again: " + again.err;
    for (auto& [frame, whole] : whole_) text += bytes_of(target(frame)) == whole ? "" : " not completed";
    return text;
  }

  std::map<int, std::string> whole_;
};

// How often each process makes each system call, at most.
std::map<std::string, int> system_calls() {
  reset();
  shell("strace -f -qq -o trace " + kConvert);
  std::istringstream trace(bytes_of("trace"));
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

TEST_F(Kill, at_a_system_call_of_any_process_leaves_whole_files) {
  if (shell("strace -qq -o /dev/null true").status != 0) GTEST_SKIP() << "no right to trace";
  const std::map<std::string, int> calls = system_calls();
  ASSERT_TRUE(calls.contains("rename")) << "the trace was not understood";
  int runs = 0;
  int kills = 0;
  for (const auto& [call, count] : calls) {
    // The first, the last and some between them, or every one.
    const int step = kIsAllWanted ? 1 : std::max(count / 2, 1);
    for (int nth = 1; nth <= count; nth += step) {
      reset();
      const std::string inject = "-e inject=" + call + ":signal=KILL:when=" + std::to_string(nth);
      const Outcome run = shell("strace -f -qq -o /dev/null " + inject + ' ' + kConvert);
      ASSERT_EQ(complaint(), "") << call << ' ' << nth;
      ++runs;
      if (run.status != 0) ++kills;
    }
  }
  RecordProperty("kills", kills);
  // A process waits for another a different number of times each run.
  EXPECT_GE(kills * 10, runs * 9) << runs;
}

TEST_F(Kill, at_a_random_moment_leaves_whole_files) {
  const auto start = std::chrono::steady_clock::now();
  reset();
  shell(kConvert);
  const std::chrono::duration<double> usual = std::chrono::steady_clock::now() - start;
  std::mt19937 random(20);
  std::uniform_real_distribution<double> moment(0.0, usual.count());
  for (int round = 0; round < (kIsAllWanted ? 200 : 20); ++round) {
    reset();
    // The process alone, and every second time its workers too; the output ends when all of them have.
    const std::string whom = round % 2 == 0 ? "--foreground " : "";
    shell("timeout -s KILL " + whom + std::to_string(moment(random)) + ' ' + kConvert);
    ASSERT_EQ(complaint(), "") << round;
  }
}

}  // namespace
}  // namespace orb::testing
