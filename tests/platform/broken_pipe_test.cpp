#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "orbbase/platform/platform.h"

namespace orb::testing {
namespace {

sigset_t sigpipe_alone() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}
const sigset_t kSigpipe = sigpipe_alone();

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
    bool blocked_before, pending_before;
  } rows[] = {{false, false}, {true, false}, {true, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.blocked_before << row.pending_before);
    if (row.blocked_before) pthread_sigmask(SIG_BLOCK, &kSigpipe, nullptr);
    if (row.pending_before) raise(SIGPIPE);
    EXPECT_EQ(guarded_write(), EPIPE);
    EXPECT_EQ(sigpipe_is_blocked(), row.blocked_before);
    EXPECT_EQ(sigpipe_is_pending(), row.pending_before);
    const timespec at_once = {};
    while (sigpipe_is_pending()) sigtimedwait(&kSigpipe, nullptr, &at_once);
    pthread_sigmask(SIG_UNBLOCK, &kSigpipe, nullptr);
  }
}

}  // namespace
}  // namespace orb::testing
