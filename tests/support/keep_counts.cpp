// Coverage builds only: a process that aborts on purpose writes its counts first.
#include <csignal>

extern "C" void __gcov_dump(void);

namespace {

void write_counts(int) { __gcov_dump(); }

[[gnu::constructor]] void catch_abort() { std::signal(SIGABRT, write_counts); }

}  // namespace
