#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "orbbase/platform/platform.h"

namespace orb::testing {
namespace {

bool sigpipe_is_blocked() {
  sigset_t set;
  pthread_sigmask(SIG_BLOCK, nullptr, &set);
  return sigismember(&set, SIGPIPE) == 1;
}

bool sigpipe_is_pending() {
  sigset_t set;
  sigpending(&set);
  return sigismember(&set, SIGPIPE) == 1;
}

void change_mask(int how) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  pthread_sigmask(how, &set, nullptr);
}

void take_pending_sigpipe() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  const timespec at_once = {};
  while (sigpipe_is_pending()) sigtimedwait(&set, nullptr, &at_once);
}

// Writes to a pipe that nobody reads, in two nested guards. Returns errno as it stands behind them.
int guarded_write() {
  int ends[2];
  if (pipe(ends) != 0) return -1;
  close(ends[0]);
  {
    const platform::BrokenPipeGuard outer;
    const platform::BrokenPipeGuard inner;
    errno = 0;
    if (write(ends[1], "x", 1) >= 0) return -2;
  }
  const int error = errno;
  close(ends[1]);
  return error;
}

TEST(BrokenPipe, is_an_error_number_and_leaves_the_application_s_signal_handling_as_it_was) {
  const struct {
    bool blocked_before;
    bool pending_before;
  } rows[] = {{false, false}, {true, false}, {true, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.blocked_before << row.pending_before);
    if (row.blocked_before) change_mask(SIG_BLOCK);
    if (row.pending_before) raise(SIGPIPE);
    EXPECT_EQ(guarded_write(), EPIPE);
    EXPECT_EQ(sigpipe_is_blocked(), row.blocked_before);
    EXPECT_EQ(sigpipe_is_pending(), row.pending_before);
    take_pending_sigpipe();
    change_mask(SIG_UNBLOCK);
  }
}

}  // namespace
}  // namespace orb::testing
