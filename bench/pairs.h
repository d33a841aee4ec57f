// The table of a benchmark program: each row times something of ours against a peer that does the same job,
// and names the most that the ratio of their times may be. A new row is the whole change:
//
//   const orb::bench::Pairs pairs({
//       {"STR_hash, names", hash_ours, "multiply-add loop", hash_plain, 2.0},
//   });
#pragma once

#include <benchmark/benchmark.h>

#include <initializer_list>

namespace orb::bench {

using Side = void (*)(benchmark::State&);

struct Pair {
  const char* name;       // what is measured, and on what data
  Side ours;              // does the job once an iteration
  const char* peer_name;  // who else does it
  Side peer;              // does the same job once an iteration
  double goal;            // the most that time of ours / time of the peer may be
};

// Adds rows to the table of the program. At file scope; the texts must live as long as the program.
struct Pairs {
  Pairs(std::initializer_list<Pair> rows);
};

}  // namespace orb::bench
