// Runs the rows of a benchmark program and prints what came out as a table of ratios. Both sides of every row
// run in one process in turn, as often as --benchmark_repetitions says; medians are compared. A program's
// status is 1 when a ratio is over its floor.
#include "bench/pairs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace orb::bench {
namespace {

std::vector<Pair>& table() {
  static std::vector<Pair> rows;
  return rows;
}

std::vector<Mean>& means() {
  static std::vector<Mean> lines;
  return lines;
}

std::string our_side(const Pair& row) { return row.name + "|ours"; }
std::string peer_side(const Pair& row) { return row.name + "|" + row.peer_name; }

void register_sides() {
  std::set<std::string> registered;
  const auto once = [&registered](const std::string& name, const Side& side) {
    if (registered.insert(name).second) benchmark::RegisterBenchmark(name.c_str(), side);
  };
  for (const Pair& row : table()) {
    once(our_side(row), row.ours);
    once(peer_side(row), row.peer);
  }
}

// Keeps every repetition's time by the name of its benchmark.
class Times : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(), run.error_message.c_str());
        has_failed_ = true;
        continue;
      }
      const double unit = benchmark::GetTimeUnitMultiplier(run.time_unit);
      nanoseconds_[run.run_name.function_name].push_back(run.GetAdjustedCPUTime() / unit * 1e9);
    }
  }

  // The middle time of a benchmark; negative when it did not run.
  double median(const std::string& name) {
    std::vector<double>& times = nanoseconds_[name];
    if (times.empty()) return -1;
    std::sort(times.begin(), times.end());
    return (times[(times.size() - 1) / 2] + times[times.size() / 2]) / 2;
  }

  [[nodiscard]] bool has_failed() const { return has_failed_; }

 private:
  std::map<std::string, std::vector<double>> nanoseconds_;
  bool has_failed_ = false;
};

// What the last columns say of a ratio; whether it keeps to its floor.
bool print_verdict(double ratio, double goal, double floor) {
  if (goal == kNoGoal) {
    std::printf(" %6.2f | %6s | %6s | %-4s |\n", ratio, "-", "-", "");
    return true;
  }
  const double most = floor != 0 ? floor : goal;
  std::printf(" %6.2f | %6.2f | %6.2f | %-4s |\n", ratio, goal, most,
              ratio <= goal   ? "ok"
              : ratio <= most ? "near"
                              : "OVER");
  return ratio <= most;
}

// Prints one row; returns whether it keeps to its floor. A row that a filter left out keeps to it silently.
bool print_row(const Pair& row, Times& times, std::map<std::string, std::vector<double>>& ratios) {
  const double ours = times.median(our_side(row));
  const double peer = times.median(peer_side(row));
  if (ours < 0 || peer < 0) return true;
  ratios[row.mean].push_back(ours / peer);
  std::printf("| %-40s | %-28s | %12.1f | %12.1f |", row.name.c_str(), row.peer_name.c_str(), ours, peer);
  return print_verdict(ours / peer, row.goal, row.floor);
}

bool print_mean(const Mean& mean, const std::vector<double>& ratios) {
  if (ratios.empty()) return true;
  double logarithms = 0;
  for (const double ratio : ratios) logarithms += std::log(ratio);
  const std::string rows = "mean of " + std::to_string(ratios.size()) + " rows";
  std::printf("| %-40s | %-28s | %12s | %12s |", mean.name.c_str(), rows.c_str(), "", "");
  return print_verdict(std::exp(logarithms / static_cast<double>(ratios.size())), mean.goal, mean.floor);
}

bool print_table(Times& times) {
  bool are_kept = true;
  std::map<std::string, std::vector<double>> ratios;
  for (const Pair& row : table()) are_kept = print_row(row, times, ratios) && are_kept;
  for (const Mean& mean : means()) are_kept = print_mean(mean, ratios[mean.name]) && are_kept;
  return are_kept;
}

void print_head() {
  std::printf("| %-40s | %-28s | %12s | %12s | %6s | %6s | %6s | %-4s |\n", "ours", "peer", "ours, ns",
              "peer, ns", "ratio", "goal", "floor", "");
  for (const size_t width : {42, 30, 14, 14, 8, 8, 8, 6}) std::printf("|%s", std::string(width, '-').c_str());
  std::printf("|\n");
}

}  // namespace

Pairs::Pairs(std::vector<Pair> rows, std::vector<Mean> lines) {
  table().insert(table().end(), rows.begin(), rows.end());
  means().insert(means().end(), lines.begin(), lines.end());
}

}  // namespace orb::bench

using namespace orb::bench;

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  register_sides();
  Times times;
  benchmark::RunSpecifiedBenchmarks(&times);
  print_head();
  const bool are_kept = print_table(times) && !times.has_failed();
  benchmark::Shutdown();
  return are_kept ? 0 : 1;
}
