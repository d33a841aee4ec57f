// The table of a benchmark program: each row times something of ours against a peer that does the same job,
// and names the most that the ratio of their times may be. A new row is the whole change:
//
//   const orb::bench::Pairs pairs({
//       {"STR_hash, names", hash_ours, "multiply-add loop", hash_plain, 2.0},
//   });
//
// Rows with the same name share their own side, which is then timed once: one job against several peers.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace orb::bench {

using Side = std::function<void(benchmark::State&)>;

// A side of a job that takes more than the state.
template <class... Args>
Side on(void (*job)(benchmark::State&, Args...), std::type_identity_t<Args>... args) {
  return [=](benchmark::State& state) { job(state, args...); };
}

constexpr double kNoGoal = std::numeric_limits<double>::infinity();

// The goal of so many times the speed of the peer.
constexpr double at(double speed) { return 1 / speed; }

struct Pair {
  std::string name;       // what is measured, and on what data
  Side ours;              // does the job once an iteration
  std::string peer_name;  // who else does it
  Side peer;              // does the same job once an iteration
  double goal;            // the most that time of ours / time of the peer should be; kNoGoal: for comparison
  double floor = 0;       // over this the row fails; 0: over the goal
  std::string mean = {};  // the Mean that the row counts in, if any
};

// One more line of the table: the geometric mean of the ratios of its rows.
struct Mean {
  std::string name;
  double goal;
  double floor = 0;
};

// Adds rows to the table of the program. At file scope.
struct Pairs {
  explicit Pairs(std::vector<Pair> rows, std::vector<Mean> means = {});
};

}  // namespace orb::bench
