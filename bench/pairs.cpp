// Runs the rows of a benchmark program and prints what came out as a table of ratios. Both sides of every row
// run in one process in turn, as often as --benchmark_repetitions says; medians are compared. A program's
// status is 1 when a ratio is over its goal.
#include "bench/pairs.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace orb::bench {
namespace {

std::vector<Pair>& table() {
  static std::vector<Pair> rows;
  return rows;
}

std::string side_name(const Pair& row, const char* side) { return std::string(row.name) + "|" + side; }

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

// Prints one row; returns whether it keeps to its goal. A row that a filter left out keeps to it silently.
bool print_row(const Pair& row, Times& times) {
  const double ours = times.median(side_name(row, "ours"));
  const double peer = times.median(side_name(row, "peer"));
  if (ours < 0 || peer < 0) return true;
  const double ratio = ours / peer;
  const bool is_kept = ratio <= row.goal;
  std::printf("| %-40s | %-28s | %12.1f | %12.1f | %6.2f | %6.2f | %-4s |\n", row.name, row.peer_name, ours,
              peer, ratio, row.goal, is_kept ? "ok" : "OVER");
  return is_kept;
}

void print_head() {
  std::printf("| %-40s | %-28s | %12s | %12s | %6s | %6s | %-4s |\n", "ours", "peer", "ours, ns", "peer, ns",
              "ratio", "goal", "");
  std::printf("|%s|%s|%s|%s|%s|%s|%s|\n", std::string(42, '-').c_str(), std::string(30, '-').c_str(),
              std::string(14, '-').c_str(), std::string(14, '-').c_str(), std::string(8, '-').c_str(),
              std::string(8, '-').c_str(), std::string(6, '-').c_str());
}

}  // namespace

Pairs::Pairs(std::initializer_list<Pair> rows) { table().insert(table().end(), rows.begin(), rows.end()); }

}  // namespace orb::bench

using namespace orb::bench;

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  for (const Pair& row : table()) {
    benchmark::RegisterBenchmark(side_name(row, "ours").c_str(), row.ours);
    benchmark::RegisterBenchmark(side_name(row, "peer").c_str(), row.peer);
  }
  Times times;
  benchmark::RunSpecifiedBenchmarks(&times);
  print_head();
  bool are_kept = !times.has_failed();
  for (const Pair& row : table()) are_kept = print_row(row, times) && are_kept;
  benchmark::Shutdown();
  return are_kept ? 0 : 1;
}
