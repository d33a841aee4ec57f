// The way of a finished report: history, the record's handlers, the handlers of all reports, the default
// handler.
#include <cstdio>
#include <cstdlib>

#include "orbbase/platform/platform.h"
#include "orbbase/support/err/state.h"

namespace orb::err {
namespace {

// A handler may declare and cancel handlers, its own included. A popped node therefore keeps its link to the
// rest of its chain until the outermost delivery has ended.
class Delivery {
 public:
  Delivery() { ++state.deliveries; }
  ~Delivery() {
    if (--state.deliveries > 0) return;
    while (ERR_HANDLER_NODE* node = state.retired) {
      state.retired = static_cast<ERR_HANDLER_NODE*>(node->user_data);
      state.nodes.give(node);
    }
  }
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;
};

struct Message {
  const void* identity;
  uint8_t category;
  const char* text;
  ERR_RECORD* record;
};

// Whether the handler dealt with the message. A null one passes everything on.
bool handles(ERR_HANDLER handler, const Message& message, void* user_data) {
  return handler && handler(message.identity, message.category, message.text, message.record, user_data) == 0;
}

bool chain_handles(const ERR_HANDLER_NODE* node, const Message& message) {
  for (; node; node = node->next) {
    // A node popped meanwhile has no handler any more, so its user data is not handed out.
    if (handles(node->handler, message, message.record ? node->user_data : nullptr)) return true;
  }
  return false;
}

void deliver_by_default(const Message& message) {
  ERR_def_handler(message.identity, message.category, message.text, message.record, nullptr);
}

void end_process(const char* message) {
  char text[kTextBytes + 16];
  const int bytes = std::snprintf(text, sizeof(text), "%s, %s\n", ERR_type(ERR_FATAL), message);
  // Never cut for a report; the default handler called by an application itself takes a text of any length.
  if (bytes < 0 || static_cast<size_t>(bytes) >= sizeof(text)) mark_cut(text, sizeof(text));
  if (platform::fatal_box) platform::fatal_box("Fatal Error", text);
  std::abort();
}

}  // namespace

void deliver(ERR_RECORD* record, const char* text) {
  const Delivery delivery;
  state.latest = (state.latest + 1) % kHistory;
  state.history[state.latest] = record;
  const uint8_t category = is_category(record->category) ? record->category : kUnknownCategory;
  const Message message = {record->identity, category, text, record};
  if (chain_handles(record->handlers, message)) return;
  if (handles(record->own_handler, message, nullptr)) return;
  if (chain_handles(state.handlers, message)) return;
  deliver_by_default(message);
}

void deliver_without_record(const void* identity, uint8_t category, const char* text) {
  const Guard guard(state.lock);
  const Delivery delivery;
  const Message message = {identity, category, text, nullptr};
  if (!chain_handles(state.handlers, message)) deliver_by_default(message);
}

}  // namespace orb::err

int32_t ERR_def_handler(const void*, int32_t category, const char* message, ERR_RECORD*, void*) {
  const char* text = message ? message : "";
  std::fprintf(stderr, "%s, %s\n", ERR_type(category), text);
  std::fflush(stderr);
  if (category == ERR_FATAL) orb::err::end_process(text);
  return 0;
}
