// What can be asked about reports: counts, the history, a record's fields, a category's name.
#include <cstring>

#include "orbbase/support/err/state.h"

namespace orb::err {
namespace {

template <class T>
void store(T* out, T value) {
  if (out) *out = value;
}

}  // namespace
}  // namespace orb::err

const char* ERR_type(int32_t category) {
  static constexpr const char* kNames[orb::err::kCategories] = {"DEBUG", "INFORMATION", "WARNING", "ERROR",
                                                                "FATAL"};
  return orb::err::is_category(category) ? kNames[category] : "UNKNOWN";
}

uint32_t ERR_stats(int32_t category) {
  using namespace orb::err;
  const Guard guard(state.lock);
  if (is_category(category)) return state.counts[category];
  if (category != -1) return 0;
  uint32_t sum = 0;  // wraps, like the counts
  for (const uint32_t count : state.counts) sum += count;
  return sum;
}

ERR_RECORD* ERR_last(uint32_t n) {
  using namespace orb::err;
  if (n > kHistory) return nullptr;
  const Guard guard(state.lock);
  const int32_t entry = state.latest - static_cast<int32_t>(n);
  return state.history[entry < 0 ? entry + kHistory : entry];
}

void ERR_query(const ERR_RECORD* record, int32_t* category_out, int32_t* masked_out, uint32_t* count_out,
               const void** identity_out, const char** template_out, void** user_word_1_out,
               void** user_word_2_out) {
  using namespace orb::err;
  const Guard guard(state.lock);
  store<int32_t>(category_out, record->category);
  store<int32_t>(masked_out, (record->flags & kRecordMasked) != 0);
  store(count_out, record->count);
  store(identity_out, record->identity);
  store(template_out, record->message_template);
  store(user_word_1_out, record->user_word_1);
  store(user_word_2_out, record->user_word_2);
}

int32_t ERR_compare(const char* name, const ERR_RECORD* record, int32_t skip_prefix) {
  constexpr size_t kPrefixBytes = 5;
  const orb::err::Guard guard(orb::err::state.lock);
  const auto* identity = static_cast<const char*>(record->identity);
  if (skip_prefix != 0) identity += strnlen(identity, kPrefixBytes);
  return std::strcmp(name, identity);
}

int32_t ERR_report_mp(void* pointer, int32_t flag) {
  using namespace orb::err;
  const Guard guard(state.lock);
  if ((flag != 0) != (state.multi_process != 0)) return 0;
  state.multi_process_slot = pointer;
  return 1;
}
