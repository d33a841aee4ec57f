// The way out of a benchmark that cannot do its work: there is nothing to measure then.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace orb::bench {

[[noreturn]] inline void give_up(const std::string& reason) {
  std::fprintf(stderr, "benchmark: %s\n", reason.c_str());
  std::exit(2);
}

}  // namespace orb::bench
