// Declaring and cancelling handlers.
#include <new>

#include "orbbase/support/err/state.h"

namespace orb::err {
namespace {

ERR_HANDLER_NODE*& chain_of(ERR_RECORD* record) { return record ? record->handlers : state.handlers; }

// During a delivery some chain walk may stand on the node: it keeps its link and loses its handler.
void retire(ERR_HANDLER_NODE* node) {
  node->handler = nullptr;
  node->user_data = state.retired;
  state.retired = node;
}

}  // namespace
}  // namespace orb::err

int32_t ERR_dcl_handler(ERR_RECORD* record, ERR_HANDLER handler, void* user_data) {
  using namespace orb::err;
  const Guard guard(state.lock);
  void* memory = state.nodes.take(sizeof(ERR_HANDLER_NODE));
  if (!memory) return 0;  // reported by the allocator
  ERR_HANDLER_NODE*& chain = chain_of(record);
  chain = new (memory) ERR_HANDLER_NODE{chain, handler, user_data};
  return 1;
}

ERR_HANDLER ERR_can_handler(ERR_RECORD* record) {
  using namespace orb::err;
  const Guard guard(state.lock);
  ERR_HANDLER_NODE*& chain = chain_of(record);
  ERR_HANDLER_NODE* node = chain;
  if (!node) return nullptr;
  const ERR_HANDLER handler = node->handler;
  chain = node->next;
  if (state.deliveries > 0) {
    retire(node);
  } else {
    state.nodes.give(node);
  }
  return handler;
}
