// What happens on an interrupt. The handler does it all at once, since the tool may be waiting in a read or
// an open of a named pipe for as long as it takes.
#include "interrupt.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <new>

#include "exit_codes.h"

namespace orb::tool {
namespace {

constexpr int kInterrupts[] = {SIGINT, SIGTERM, SIGHUP};

// Read by the handler; changed only while interrupts are held.
struct State {
  char temporary[PATH_MAX + 1] = "";
  char farewell[64] = "";            // for standard output
  pid_t workers[kMostWorkers] = {};  // 0: none
} state;

// Only calls that are safe in a handler. Workers are waited for, so that nothing of theirs is left either.
[[noreturn]] void end_at_once(int status) {
  for (const pid_t worker : state.workers) {
    if (worker != 0) kill(worker, SIGTERM);
  }
  for (const pid_t worker : state.workers) {
    while (worker != 0 && waitpid(worker, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  if (state.farewell[0] != '\0') {
    static_cast<void>(!write(STDOUT_FILENO, state.farewell, std::strlen(state.farewell)));
  }
  if (state.temporary[0] != '\0') unlink(state.temporary);
  _exit(status);
}

void end_on_interrupt(int) { end_at_once(kInterrupted); }

// Destructors of the JSON library, and the run-time library as it looks into folders, take memory where nothing may be
// thrown: this is all that is left to do when they get none.
[[noreturn]] void end_without_memory() {
  bool was_memory = errno == ENOMEM;
  try {
    if (const std::exception_ptr problem = std::current_exception()) std::rethrow_exception(problem);
  } catch (const std::bad_alloc&) {
    was_memory = true;
  } catch (...) {
    was_memory = false;  // an error of the tool
  }
  if (!was_memory) std::abort();
  std::fputs("orb: error: out of memory\n", stderr);
  end_at_once(kRetry);
}

sigset_t interrupt_set() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : kInterrupts) sigaddset(&set, number);
  return set;
}

void end_on(int number) {
  struct sigaction action = {};
  action.sa_handler = end_on_interrupt;
  action.sa_mask = interrupt_set();
  sigaction(number, &action, nullptr);
}

}  // namespace

void watch_interrupts() {
  for (const int number : kInterrupts) {
    struct sigaction before = {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler != SIG_IGN) end_on(number);  // else started so, as under nohup
  }
  std::set_terminate(end_without_memory);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
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

void write_on_interrupt(const std::string& text) {
  const InterruptsHeld held;
  const size_t length = std::min(text.size(), sizeof state.farewell - 1);
  std::memcpy(state.farewell, text.data(), length);
  state.farewell[length] = '\0';
}

pid_t fork_worker() {
  const InterruptsHeld held;
  pid_t* const place = std::find(std::begin(state.workers), std::end(state.workers), 0);
  if (place == std::end(state.workers)) {
    errno = EAGAIN;
    return -1;
  }
  const pid_t worker = fork();
  if (worker > 0) *place = worker;
  if (worker == 0) {
    std::fill(std::begin(state.workers), std::end(state.workers), 0);
    end_on(SIGTERM);
  }
  return worker;
}

int reap_worker(pid_t worker) {
  int status = 0;
  siginfo_t end = {};
  while (waitid(P_PID, static_cast<id_t>(worker), &end, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
  }
  const InterruptsHeld held;
  waitpid(worker, &status, 0);
  std::replace(std::begin(state.workers), std::end(state.workers), worker, pid_t{0});
  return status;
}

}  // namespace orb::tool
