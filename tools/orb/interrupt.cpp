// What happens on an interrupt. The handler does it all at once, since the tool may be waiting in a read or
// an open of a named pipe for as long as it takes.
#include "interrupt.h"

#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstring>

#include "exit_codes.h"

namespace orb::tool {
namespace {

constexpr int kInterrupts[] = {SIGINT, SIGTERM, SIGHUP};

struct State {
  char temporary[PATH_MAX + 1] = "";  // read by the handler; changed only while interrupts are held
} state;

// Only calls that are safe in a handler.
void end_at_once(int) {
  if (state.temporary[0] != '\0') unlink(state.temporary);
  _exit(kInterrupted);
}

sigset_t interrupt_set() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : kInterrupts) sigaddset(&set, number);
  return set;
}

}  // namespace

void watch_interrupts() {
  for (const int number : kInterrupts) {
    struct sigaction before = {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler == SIG_IGN) continue;  // started so, as under nohup
    struct sigaction action = {};
    action.sa_handler = end_at_once;
    action.sa_mask = interrupt_set();
    sigaction(number, &action, nullptr);
  }
  std::signal(SIGPIPE, SIG_IGN);
}

InterruptsHeld::InterruptsHeld() {
  const sigset_t set = interrupt_set();
  sigprocmask(SIG_BLOCK, &set, nullptr);
}

InterruptsHeld::~InterruptsHeld() {
  const sigset_t set = interrupt_set();
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

void remove_on_interrupt(const std::string& path) {
  const size_t length = path.size() < PATH_MAX ? path.size() : 0;
  std::memcpy(state.temporary, path.data(), length);
  state.temporary[length] = '\0';
}

}  // namespace orb::tool
