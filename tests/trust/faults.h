// Fails calls at the boundary to the C library, by stepping in front of them: linked into a program that exports its
// names, or preloaded in front of one, this meets the calls of every library and module of the process.
//
// It cannot be the tests' other means, fail_allocation.h: that one works without such a dynamic linker, and sees the
// calls of the library alone, which is what a test of one function of the library asks for.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orb::testing {

enum class FaultKind : uint8_t {
  none,
  memory,    // allocations
  files,     // opening, transferring, positioning, flushing, closing and asking for the status
  transfers  // reading and writing alone, which may then come short
};

struct FaultPlan {
  FaultKind kind = FaultKind::none;
  int64_t nth = 0;       // the call that fails, counted from 1; 0: calls are only counted
  bool goes_on = false;  // and all calls after it
  // The calls of the program itself and of the C++ library count too. A tool is tested so; a test is not tested.
  bool has_everyone = false;
};

// Calls fail as planned, from begin to end. One plan at a time; any thread may meet it.
void begin_faults(const FaultPlan& plan);
struct FaultTally {
  int64_t calls = 0;  // that counted
  std::vector<uint64_t>
      ways;  // to each of them, in a tool whose calls are only counted: the same number, the same way
  int64_t failed = 0;           // of them
  const char* first = "";       // the name of the first that failed
  bool has_lost_bytes = false;  // one that failed would have brought bytes into a file
};
FaultTally end_faults();

// The blocks that are allocated from the first call to the second, by those whose calls count, and still live at the
// second: one line each, telling who allocated it, with callers if asked.
void begin_counting_blocks(bool with_callers);
std::vector<std::string> end_counting_blocks();

// From now on the calls on the way to a failed allocation are remembered and, at the program's end, added to a file:
// "MODULE OFFSET", one return address a line. write_sites does it for a process that ends without such an end.
void remember_sites(const char* file);
void write_sites();

}  // namespace orb::testing
