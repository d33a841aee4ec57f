// What the tool's exit status says. The manual lists the same numbers.
#pragma once

#include <stdexcept>
#include <string>

namespace orb::tool {

enum ExitCode : int {
  kDone = 0,
  kSomeFailed = 1,    // finished, but some inputs failed; each was named
  kUsage = 2,         // the command line makes no sense
  kNoInput = 3,       // none of the inputs named exists
  kIoError = 4,       // input or output failed before any image was done
  kLossRefused = 5,   // the target cannot keep something, and the loss was not asked for
  kRetry = 75,        // out of memory, or a device is busy: worth another try
  kInterrupted = 130  // SIGINT, SIGTERM or SIGHUP
};

// Ends a verb. The text is printed as an error; an empty one says that the reason has been printed already.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  explicit Failure(ExitCode code) : Failure(code, "") {}
  [[nodiscard]] ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace orb::tool
