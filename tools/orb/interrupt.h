// What happens on SIGINT, SIGTERM and SIGHUP: the temporary file goes and the tool ends with 130.
#pragma once

#include <string>

namespace orb::tool {

// Installs the handlers, and turns a closed reader of our output into an error rather than a death.
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

}  // namespace orb::tool
