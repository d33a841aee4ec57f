// The error module's state and the steps that its files share. Nothing outside this folder includes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "orbbase/support/containers/pool.h"
#include "orbbase/support/err.h"

// One declaration of a handler, taken from the node pool. Popped nodes keep their next link until no delivery
// is under way, with a null handler and their user_data as the link of the retired chain.
struct ERR_HANDLER_NODE {
  ERR_HANDLER_NODE* next;
  ERR_HANDLER handler;
  void* user_data;
};

namespace orb::err {

inline constexpr int32_t kCategories = 5;
inline constexpr uint8_t kUnknownCategory = 255;  // what handlers get for a category outside 0 to 4
inline constexpr int32_t kHistory = 16;
inline constexpr size_t kTextBytes = 32768;
inline constexpr size_t kTemplateTextBytes = 256;
inline constexpr uint32_t kRecordMasked = 1;  // bit of ERR_RECORD.flags

// The texts of the reports. Apart from the state, so that they take no room in the library's file.
struct Buffers {
  char catalogue[kTextBytes];
  char free_form[kTextBytes];
  char formatted[kTextBytes];  // every text is formatted here first: its arguments may lie in the others
};
extern Buffers buffers;

// What one of the two free-form entry points reports through.
struct EntryPoint {
  char* text;  // kTextBytes
  ERR_RECORD record = {.kind = 1,
                       .category = ERR_ERROR,
                       .flags = 0,
                       .identity = nullptr,
                       .message_template = nullptr,
                       .count = 0,
                       .own_handler = nullptr,
                       .handlers = nullptr,
                       .user_word_1 = nullptr,
                       .user_word_2 = nullptr,
                       .argument_names = nullptr};
  uint32_t deliveries = 0;  // under way: above 0 while a handler of a report through it runs
};

struct State {
  std::recursive_mutex lock;  // held over everything below, a whole delivery included
  uint32_t all_masked = 0;
  uint8_t masked[kCategories] = {1, 0, 0, 0, 0};  // DEBUG stays silent until asked for, on purpose
  uint32_t counts[kCategories] = {};
  ERR_RECORD* history[kHistory] = {};
  int32_t latest = kHistory - 1;         // so that the first report lands in entry 0
  ERR_HANDLER_NODE* handlers = nullptr;  // of all reports, newest first
  ERR_HANDLER_NODE* retired = nullptr;   // popped during a delivery; given back to the pool at its end
  uint32_t deliveries = 0;               // under way, one inside the other
  Pool nodes;
  EntryPoint catalogue = {.text = buffers.catalogue};  // ERR_report_cat
  EntryPoint free_form = {.text = buffers.free_form};  // ERR_printf
  int32_t multi_process = 0;                           // never changed by the library
  void* multi_process_slot = nullptr;
};
extern State state;

using Guard = std::lock_guard<std::recursive_mutex>;

[[nodiscard]] inline bool is_category(int64_t category) { return category >= 0 && category < kCategories; }

// The global mask or the category's own. An unknown category has none of its own.
[[nodiscard]] inline bool is_masked(int64_t category) {
  return state.all_masked != 0 || (is_category(category) && state.masked[category] != 0);
}

// The global mask, the category's or the record's.
[[nodiscard]] inline bool is_masked(const ERR_RECORD& record) {
  return is_masked(record.category) || (record.flags & kRecordMasked) != 0;
}

inline void count_report(int64_t category) {
  if (is_category(category)) ++state.counts[category];
}

// Hands a finished report to the handlers and puts it into the history. The lock is held.
void deliver(ERR_RECORD* record, const char* message);

// The same for a report without a record: the handlers of all reports only, with a null record and null user
// data, then the default handler; not counted, not remembered.
void deliver_without_record(const void* identity, uint8_t category, const char* message);

// Ends the text of a full buffer with "...".
void mark_cut(char* buffer, size_t buffer_bytes);

}  // namespace orb::err
