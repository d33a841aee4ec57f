#include "tests/support/fail_allocation.h"

#include <atomic>
#include <cstddef>

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void* __wrap_malloc(size_t size);
void* __wrap_calloc(size_t count, size_t size);
void* __wrap_realloc(void* block, size_t size);
}

namespace orb::testing {
namespace {

struct State {
  std::atomic<int64_t> until_failure{0};  // allocations left before the one that fails; 0: none will
  std::atomic<bool> keeps_failing{false};
  std::atomic<bool> happened{false};
} state;

bool fails_now() {
  if (state.until_failure.load(std::memory_order_relaxed) == 0) return false;
  if (state.until_failure.load(std::memory_order_relaxed) > 1) {
    state.until_failure.fetch_sub(1, std::memory_order_relaxed);
    return false;
  }
  if (!state.keeps_failing.load(std::memory_order_relaxed)) state.until_failure.store(0);
  state.happened.store(true);
  return true;
}

}  // namespace

FailAllocation::FailAllocation(int64_t nth, Mode mode) {
  state.happened.store(false);
  state.keeps_failing.store(mode == Mode::from_there_on);
  state.until_failure.store(nth);
}
FailAllocation::~FailAllocation() { state.until_failure.store(0); }
bool FailAllocation::happened() const { return state.happened.load(); }

}  // namespace orb::testing

void* __wrap_malloc(size_t size) { return orb::testing::fails_now() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(size_t count, size_t size) {
  return orb::testing::fails_now() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* block, size_t size) {
  return orb::testing::fails_now() ? nullptr : __real_realloc(block, size);
}
