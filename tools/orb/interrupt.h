// What happens on SIGINT, SIGTERM and SIGHUP: the tool's worker processes and the temporary file go, and it ends
// with 130.
#pragma once

#include <sys/types.h>

#include <string>

namespace orb::tool {

// Installs the handlers, and turns a closed reader of our output and a limit on the size of files into errors
// rather than deaths. Memory that is not even there for cleaning up ends the tool in the same way, with 75.
void watch_interrupts();

// While it lives, interrupts wait.
class InterruptsHeld {
 public:
  InterruptsHeld();
  ~InterruptsHeld();
  InterruptsHeld(const InterruptsHeld&) = delete;
  InterruptsHeld& operator=(const InterruptsHeld&) = delete;
};

// The file to remove on an interrupt, "" for none. Call with interrupts held, in the same block that makes,
// renames or removes the file.
void remove_on_interrupt(const std::string& path);

// What to put on standard output on an interrupt, "" for nothing: a terminal is left as it was.
void write_on_interrupt(const std::string& text);

// As many worker processes as can be.
inline constexpr int kMostWorkers = 256;

// fork, for a worker process that an interrupt of this one ends before it ends itself. The worker starts without
// workers of its own, and SIGTERM interrupts it even if it did not interrupt this process.
[[nodiscard]] pid_t fork_worker();
// Waits for the end of a worker, and says how it ended as waitpid does.
int reap_worker(pid_t worker);

}  // namespace orb::tool
