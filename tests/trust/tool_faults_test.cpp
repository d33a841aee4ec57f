// Every verb of the real tool, with calls of the C library failing under it: what it says, and what it leaves behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "animation.h"
#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

constexpr int kDone = 0;
constexpr int kSomeFailed = 1;
constexpr int kRetry = 75;

struct Verb {
  const char* name;
  std::vector<std::string> arguments;
  const char* target = "";     // a file that it makes, or replaces
  bool shows_formats = false;  // what it shows lacks the plug-ins that cannot be had, with a warning
};

void PrintTo(const Verb& verb, std::ostream* out) { *out << verb.name; }

const Verb kVerbs[] = {
    {"Formats", {"formats", "--json"}, "", true},
    {"Info", {"info", "a.png", "film.gif"}},
    {"Convert", {"convert", "-f", "a.png", "-o", "out.rla"}, "out.rla"},
    {"ConvertFrames", {"convert", "-f", "-j", "2", "shot.####.rla", "-o", "out.####.png"}, "out.0001.png"},
    {"ConvertToTiff", {"convert", "-f", "a.png", "-o", "out.tif"}, "out.tif"},
    {"Steps", {"convert", "-f", "a.png", "-o", "out.png", "--swatch", "4"}, "out.png"},
    {"MergeFields", {"merge-fields", "-f", "shot.0001.rla", "-o", "out.rla"}, "out.rla"},
    {"Check", {"check", "a.png", "film.gif", "shot.0001.rla"}, "", true},
    {"Diff", {"diff", "a.png", "a.png"}},
    {"View", {"view", "a.png"}},
    {"Play", {"play", "--rate", "1000", "film.gif"}},
    {"Ls", {"ls", "."}},
    {"Frames", {"frames", "shot.####.rla"}},
    {"Curve", {"curve", "--gamma", "2.2", "--entries", "9"}},
    {"Config", {"config"}, "", true},
    {"RsrcAdd", {"rsrc", "add", "-f", "r.rsrc", "TEXT", "greeting", "a.png"}, "r.rsrc"},
    {"RsrcList", {"rsrc", "ls", "kept.rsrc"}},
    {"Completion", {"completion", "bash"}},
};

struct Tally {
  int64_t calls = 0;
  int64_t failed = 0;
  int has_lost_bytes = 0;
  std::string first;
  std::vector<std::string> ways;  // to each call, when none was to fail
};

struct Attempt {
  Outcome outcome;
  Tally tally;
  std::string target;
  std::vector<std::string> names;
};

// The files that the verbs work on, and the tool with a fault in it.
class Workplace {
 public:
  Workplace() {
    write_noise_png(folder_.path("a.png"), 9, 5, 8, 2);
    put_bytes(folder_.path("film.gif"), gif("0123"));
    for (const char* name : {"shot.0001.rla", "shot.0002.rla"})
      orb(folder_, {"convert", "a.png", "-d", "uint8", "-o", name});
    put_bytes(folder_.path("data"), "some text");
    put_bytes(folder_.path("kept.rsrc"), std::string(12, '\0'));
    orb(folder_, {"rsrc", "add", "-f", "kept.rsrc", "TEXT", "greeting", "data"});
  }

  // Without a plan the target is not there before; otherwise it is what the tool made without a fault, a byte longer.
  Attempt attempt(const Verb& verb, const std::string& plan, const std::string& old_target) {
    const std::string target = folder_.path(verb.target);
    if (*verb.target) put_bytes(target, old_target);
    RunOptions options;
    options.environment = {std::string("LD_PRELOAD=") + ORB_FAULTS_MODULE, "ORB_FAULT=" + plan,
                           "ORB_FAULT_TALLY=" + elsewhere_.path("tally")};
    std::remove(elsewhere_.path("tally").c_str());
    Attempt made;
    made.outcome = orb(folder_, verb.arguments, options);
    std::ifstream tally(elsewhere_.path("tally"));
    tally >> made.tally.calls >> made.tally.failed >> made.tally.has_lost_bytes;
    std::getline(tally, made.tally.first);
    for (std::string way; tally >> way;) made.tally.ways.push_back(way);
    if (*verb.target) made.target = bytes_of(target);
    made.names = folder_.names();
    return made;
  }

 private:
  Folder folder_;
  Folder elsewhere_;
};

const std::string kEmptyResources(12, '\0');

// A file that the verb takes for one to be replaced.
std::string old_target(const Verb& verb) {
  return std::string(verb.target) == "r.rsrc" ? kEmptyResources : "an old file";
}

std::string judge(const Verb& verb, bool is_memory, const Attempt& good, const Attempt& found) {
  const int status = found.outcome.status;
  std::string wrong;
  if (status >= 128) return "died of signal " + std::to_string(status - 128);
  if (status == kDone) {
    const bool is_warned = verb.shows_formats && found.outcome.err.find("warning") != std::string::npos;
    if (found.outcome.out != good.outcome.out && !is_warned) wrong += "success, with another output\n";
    if (found.target != good.target) wrong += "success, with another target\n";
    if (found.tally.has_lost_bytes != 0) wrong += "success, though bytes were lost\n";
  } else {
    if (found.outcome.err.find("error") == std::string::npos) wrong += "nothing is said\n";
    if (is_memory && status != kRetry && status != kSomeFailed) wrong += "not the status of memory\n";
  }
  if (found.target != good.target && found.target != old_target(verb)) wrong += "half a target\n";
  if (found.names != good.names) wrong += "something is left over\n";
  return wrong;
}

// How many calls two verbs make alike before they part: they build the same parser.
int64_t calls_in_common(const Tally& one, const Tally& other) {
  const auto parting = std::ranges::mismatch(one.ways, other.ways);
  return parting.in1 - one.ways.begin();
}

// Some of the calls after those skipped, the first ones among them; all with ORB_FAULT_SAMPLE=0.
std::vector<int64_t> sample(int64_t skipped, int64_t calls) {
  const char* text = std::getenv("ORB_FAULT_SAMPLE");
  const int64_t wanted = text ? std::atoi(text) : 20;
  const int64_t step = wanted == 0 ? 1 : std::max<int64_t>((calls - skipped) / wanted, 1);
  std::vector<int64_t> chosen;
  for (int64_t nth = skipped + 1; nth <= calls; nth += nth < skipped + 4 ? 1 : step) chosen.push_back(nth);
  return chosen;
}

void survive(const Verb& verb, const std::string& kind) {
  Workplace place;
  place.attempt(verb, kind + " 0 once", old_target(verb));
  const Attempt good = place.attempt(verb, kind + " 0 once", old_target(verb));
  ASSERT_EQ(good.outcome.status, 0) << good.outcome.err;
  ASSERT_GT(good.tally.calls, 0);
  const bool is_first = verb.name == kVerbs[0].name;  // whose test meets the calls that all verbs make
  const Tally first = is_first ? Tally{} : place.attempt(kVerbs[0], kind + " 0 once", "").tally;
  const int64_t skipped = calls_in_common(first, good.tally);
  ::testing::Test::RecordProperty("calls", static_cast<int>(good.tally.calls - skipped));
  int told = 0;
  for (const int64_t nth : sample(skipped, good.tally.calls)) {
    for (const char* mode : {"once", "on"}) {
      const std::string plan = kind + " " + std::to_string(nth) + " " + mode;
      const Attempt found = place.attempt(verb, plan, old_target(verb));
      const std::string wrong = judge(verb, kind == "memory", good, found);
      EXPECT_EQ(wrong, "") << plan << " of " << good.tally.calls << ", " << found.tally.first << ", status "
                           << found.outcome.status << "\n"
                           << found.outcome.err;
      told += wrong.empty() ? 0 : 1;
      if (told == 8) return;
    }
  }
}

class ToolFaults : public ::testing::TestWithParam<Verb> {};

TEST_P(ToolFaults, OfMemory) { survive(GetParam(), "memory"); }
TEST_P(ToolFaults, OfFiles) { survive(GetParam(), "files"); }

std::string name_of(const ::testing::TestParamInfo<Verb>& info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(Verbs, ToolFaults, ::testing::ValuesIn(kVerbs), name_of);

}  // namespace
}  // namespace orb::testing
