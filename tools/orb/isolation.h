// --isolate: format code runs in child processes within limits, so that a plug-in that crashes, hangs or takes too
// much costs what it was asked for and no more.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "at_work.h"
#include "exit_codes.h"

namespace orb::tool {

// 0: no limit.
struct IsolationLimits {
  uint64_t memory_bytes = uint64_t{2} << 30;  // beyond what the process has when it begins
  uint64_t seconds = 60;                      // of one call into a format
  uint64_t file_bytes = uint64_t{8} << 30;    // of any file that is written
};

// What was asked for: "" not to isolate, "true" the default limits, else NAME=VALUE, ... that differ from them.
// Throws Failure(kUsage).
void choose_isolation(const std::string& text);

// The limits; null when nothing is isolated.
[[nodiscard]] const IsolationLimits* isolation();

// In a child, before any format code.
void enter_limits();

// Looks from time to time whether a child shows signs of life.
class Watch {
 public:
  explicit Watch(const WorkPage& page) : page_(page) {}
  [[nodiscard]] bool is_overdue();
  void restart();

 private:
  const WorkPage& page_;
  uint64_t beats_ = 0;
  std::chrono::steady_clock::time_point since_ = std::chrono::steady_clock::now();
};

// A process that ended before it was done: a sentence that names the file, the format and the reason. status is
// waitpid's.
[[nodiscard]] std::string death_text(const WorkPage& page, int status, bool was_overdue);

// What contain throws when the process that did the work has died.
class Death : public Failure {
 public:
  explicit Death(const std::string& text) : Failure(kIoError, text) {}
};

// Does the work in a process of its own and returns what it returns; a Failure that it throws is thrown here, and
// messages and what it puts on standard output come through. output: a file that it may have begun, which is removed
// when it dies; "" for none. Throws Death, with orb__err -16.
[[nodiscard]] std::string contain(const std::function<std::string()>& work, const std::string& output);

// Does pieces of work one after the other in a process of its own; behind one that ends it the others go on in another.
// work: of a piece, there. take: here, as each ends; result gives or throws what contain would.
void contain_each(size_t count, const std::function<std::string(size_t piece)>& work,
                  const std::function<void(size_t piece, const std::function<std::string()>& result)>& take);

// Runs the tool's work in a process of its own, which may start others. A module that ends it while modules are
// loaded is said, and left out in another attempt. Returns the exit status.
int guard(const std::function<int()>& run);

}  // namespace orb::tool
