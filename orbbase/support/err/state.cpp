// The one home of the error module's state, and the library's last-error code beside it.
#include "orbbase/support/err/state.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <type_traits>

#include "orbbase/support/err/internal.h"

int32_t orb__err = ORB_OK;
void* orb__msg_cat = nullptr;

namespace orb {
namespace err {

Buffers buffers;
constinit State state;

// Reports may come from static initialisers and from the process's exit.
static_assert(std::is_trivially_destructible_v<State>);
// Applications lay these records out themselves.
static_assert(sizeof(void*) != 8 || (offsetof(ERR_RECORD, flags) == 4 && offsetof(ERR_RECORD, count) == 24 &&
                                     sizeof(ERR_RECORD) == 72 && sizeof(ERR_HANDLER_NODE) == 24));

void reset_for_test() {
  const Guard guard(state.lock);
  while (state.handlers) ERR_can_handler(nullptr);
  constexpr uint8_t kMaskedAtFirst[kCategories] = {1, 0, 0, 0, 0};
  state.all_masked = 0;
  std::copy(std::begin(kMaskedAtFirst), std::end(kMaskedAtFirst), state.masked);
  std::fill(std::begin(state.counts), std::end(state.counts), 0u);
  std::fill(std::begin(state.history), std::end(state.history), nullptr);
  state.latest = kHistory - 1;
  state.multi_process_slot = nullptr;
}

}  // namespace err

void set_error(int32_t code) { std::atomic_ref<int32_t>(orb__err).store(code, std::memory_order_relaxed); }

int32_t last_error() { return std::atomic_ref<int32_t>(orb__err).load(std::memory_order_relaxed); }

}  // namespace orb
