// Every scenario, with each of its calls of the C library failing in turn: the one call, and it and all after it.
#include "tests/trust/faults.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "orbbase/registry.h"
#include "tests/trust/scenarios.h"

namespace orb::testing {
namespace {

struct Attempt {
  int32_t code = 0;
  Seen seen;
  FaultTally tally;
  std::vector<std::string> errors;  // reports of ERROR and above
  std::vector<std::string> left;    // blocks that nobody gave back
};

// The reports of ERROR and above since the last attempt began. The library's handler may get no data of its own.
std::vector<std::string>& heard() {
  static std::vector<std::string> errors;
  return errors;
}

int32_t hear(const void*, uint8_t category, const char* message, ERR_RECORD*, void*) {
  if (category >= ERR_ERROR) heard().emplace_back(message);
  return 0;
}

// Runs the scenario once. All that it takes, the start and the end of the library included, it must give back.
Attempt attempt(const Scenario& scenario, const FaultPlan& plan, bool with_callers = false) {
  Attempt result;
  begin_counting_blocks(with_callers);
  const bool is_started = (scenario.traits & kStartsItself) == 0;
  if (is_started) start_library();
  orb__err = 0;
  heard().clear();
  begin_faults(plan);
  result.code = scenario.run(result.seen);
  result.tally = end_faults();
  result.errors = heard();
  if (scenario.look && result.code == 0) {
    const int32_t code = scenario.look(result.seen);
    if (code != 0) result.seen += "what was written cannot be read: " + std::to_string(code);
  }
  if (scenario.tidy) scenario.tidy();
  ORB_init(nullptr, nullptr);  // a start that failed leaves what it has read to the next one, on purpose
  end_library();
  result.left = end_counting_blocks();
  return result;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string all;
  for (const std::string& line : lines) all += "\n  " + line;
  return all;
}

// Memory that a C library call did not get shows as the system's reason, under the code of what the call was for.
bool says_out_of_memory(const Attempt& found) {
  return found.code == ORB_E_MEMORY ||
         std::any_of(found.errors.begin(), found.errors.end(),
                     [](const std::string& text) { return text.find(std::strerror(ENOMEM)) != text.npos; });
}

// A fault is reported once; but an allocation that fails is reported by the allocator, by contract, and may be by who
// gave up for it too. When more calls fail there may be more reports.
std::string judge_reports(const Scenario& scenario, const FaultPlan& plan, const Attempt& good,
                          const Attempt& found) {
  std::vector<std::string> errors = found.errors;
  for (const std::string& usual : good.errors) {
    const auto at = std::find(errors.begin(), errors.end(), usual);
    if (at != errors.end()) errors.erase(at);
  }
  const bool is_unreported = (scenario.traits & kUnreported) != 0;
  const size_t least = found.code == 0 || is_unreported ? 0 : 1;
  const size_t most = is_unreported ? 0 : plan.kind == FaultKind::memory ? 2 : 1;
  if (errors.size() >= least && (errors.size() <= most || plan.goes_on)) return "";
  return "\nreported " + std::to_string(errors.size()) + " times:" + joined(errors);
}

// libtiff loses its table of tags, and what a codec had of it, when it cannot enlarge it; nobody else can free that.
bool is_lost_by_codec(const std::string& block) {
  const size_t first_caller = block.find('\n') + 1;
  return block.substr(first_caller, block.find('\n', first_caller) - first_caller).find("libtiff") !=
         block.npos;
}

// The blocks that the same attempt, made again, does not give back. What is taken once and kept is no leak.
std::string leaks(const Scenario& scenario, const FaultPlan& plan) {
  if ((scenario.traits & kKeepsBlocks) != 0) return "";
  std::vector<std::string> left = attempt(scenario, plan, true).left;
  std::erase_if(left, is_lost_by_codec);
  return left.empty() ? "" : "\nleaks:" + joined(left);
}

// What is wrong with an attempt in which something failed; empty: nothing.
std::string judge(const Scenario& scenario, const FaultPlan& plan, const Attempt& good,
                  const Attempt& found) {
  std::string wrong;
  if (!found.left.empty()) wrong += leaks(scenario, plan);
  if (found.code == 0) {
    const bool goes_without = (scenario.traits & kGoesWithout) != 0;
    if (found.seen != good.seen && !goes_without) wrong += "\nsuccess, with another result";
    if (found.tally.has_lost_bytes && !goes_without) wrong += "\nsuccess, though bytes were lost";
  } else if (plan.kind == FaultKind::memory && !says_out_of_memory(found)) {
    wrong += "\nnot the code of memory";
  }
  return wrong + judge_reports(scenario, plan, good, found);
}

// From the twentieth call on every n-th fails; 1: all. What a test run can spend.
int64_t stride() {
  const char* text = std::getenv("ORB_FAULT_STRIDE");
  return text ? std::max(std::atoi(text), 1) : 7;
}

int64_t step_behind(int64_t nth) { return nth < 20 ? 1 : stride(); }

void prepare(const Scenario& scenario) {
  start_library();
  if (scenario.prepare) scenario.prepare();
  end_library();
}

// The work's result, 0 to 127, of a process of its own; or else the signal that ended it, and 128.
template <class Work>
int in_child(const Work& work) {
  const pid_t child = fork();
  if (child == 0) {
    const int result = work();
    write_sites();
    _exit(result);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

enum FirstResult : int { kNothingFailed, kSurvived, kOtherCode, kNextFails };

FirstResult fail_first_attempt(const Scenario& scenario, const FaultPlan& plan) {
  const Attempt found = attempt(scenario, plan);
  if (found.tally.failed == 0) return kNothingFailed;
  if (found.code != 0 && !says_out_of_memory(found)) return kOtherCode;
  return attempt(scenario, {}).code == 0 ? kSurvived : kNextFails;
}

// The first thing that a process does takes what it keeps; later attempts find that there.
void survive_first(const Scenario& scenario) {
  in_child([&] { return prepare(scenario), 0; });
  int result = kSurvived;
  for (int64_t nth = 1; result == kSurvived; nth += step_behind(nth)) {
    for (const bool goes_on : {true, false}) {
      const FaultPlan plan = {FaultKind::memory, nth, goes_on};
      result = in_child([&] { return fail_first_attempt(scenario, plan); });
      EXPECT_TRUE(result == kSurvived || (result == kNothingFailed && nth > 1))
          << nth << (goes_on ? " and on" : "") << ": " << result;
    }
  }
}

void survive(const Scenario& scenario, FaultKind kind) {
  if (const char* file = std::getenv("ORB_FAULT_SITES")) remember_sites(file);
  setenv("HOME", ".", 1);
  ERR_dcl_handler(nullptr, hear, nullptr);
  load_modules();
  if (kind == FaultKind::memory && (scenario.traits & kTakesOnce) != 0) survive_first(scenario);
  prepare(scenario);
  attempt(scenario, {});  // what a process takes once and keeps
  const Attempt good = attempt(scenario, {kind});
  ASSERT_EQ(good.code, 0) << joined(good.errors);
  ASSERT_EQ(leaks(scenario, {kind}), "");
  const int64_t calls = good.tally.calls;
  ASSERT_TRUE(calls > 0 || kind == FaultKind::transfers);
  ::testing::Test::RecordProperty("calls", static_cast<int>(calls));
  int told = 0;
  for (int64_t nth = 1; nth <= calls && told < 8; nth += step_behind(nth)) {
    for (const bool goes_on : {false, true}) {
      const FaultPlan plan = {kind, nth, goes_on};
      const Attempt found = attempt(scenario, plan);
      std::string wrong = judge(scenario, plan, good, found);
      if (const Attempt again = attempt(scenario, {}); again.code != 0 || again.seen != good.seen) {
        wrong += "\nthe next run gives " + std::to_string(again.code) + joined(again.errors);
      }
      told += wrong.empty() ? 0 : 1;
      EXPECT_TRUE(wrong.empty()) << nth << " of " << calls << (goes_on ? " and on, " : ", ")
                                 << found.tally.first << ", code " << found.code << ":" << wrong;
    }
  }
  ERR_can_handler(nullptr);
}

class Faults : public ::testing::TestWithParam<Scenario> {};

TEST_P(Faults, OfMemory) { survive(GetParam(), FaultKind::memory); }

class FileFaults : public Faults {};

TEST_P(FileFaults, OfFiles) {
  survive(GetParam(), FaultKind::files);
  survive(GetParam(), FaultKind::transfers);
}

std::string name_of(const ::testing::TestParamInfo<Scenario>& info) { return info.param.name; }

// Those that make calls on files.
std::vector<Scenario> on_files(std::vector<Scenario> scenarios) {
  std::erase_if(scenarios, [](const Scenario& scenario) { return (scenario.traits & kNoFiles) != 0; });
  return scenarios;
}

INSTANTIATE_TEST_SUITE_P(Formats, Faults, ::testing::ValuesIn(format_scenarios()), name_of);
INSTANTIATE_TEST_SUITE_P(Operators, Faults, ::testing::ValuesIn(operator_scenarios()), name_of);
INSTANTIATE_TEST_SUITE_P(Support, Faults, ::testing::ValuesIn(support_scenarios()), name_of);
INSTANTIATE_TEST_SUITE_P(Formats, FileFaults, ::testing::ValuesIn(on_files(format_scenarios())), name_of);
INSTANTIATE_TEST_SUITE_P(Operators, FileFaults, ::testing::ValuesIn(on_files(operator_scenarios())), name_of);
INSTANTIATE_TEST_SUITE_P(Support, FileFaults, ::testing::ValuesIn(on_files(support_scenarios())), name_of);

}  // namespace
}  // namespace orb::testing

// The address sanitizer takes the loader's own blocks for those of this program, whose malloc it calls.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:ld-linux\nleak:libtiff\n";
}
