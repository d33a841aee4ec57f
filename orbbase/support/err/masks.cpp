// Suppressing reports: all of them, a category, one record.
#include "orbbase/support/err/state.h"

namespace orb::err {
namespace {

int32_t set_record_mask(ERR_RECORD* record, bool is_on) {
  const Guard guard(state.lock);
  if (!record) {
    const uint32_t before = state.all_masked;
    state.all_masked = is_on;
    return static_cast<int32_t>(before);
  }
  const bool was_on = (record->flags & kRecordMasked) != 0;
  record->flags = is_on ? record->flags | kRecordMasked : record->flags & ~kRecordMasked;
  return was_on;
}

int32_t set_category_mask(uint32_t category, bool is_on) {
  if (!is_category(category)) return 0;
  const Guard guard(state.lock);
  const uint8_t before = state.masked[category];
  state.masked[category] = is_on;
  return before;
}

}  // namespace
}  // namespace orb::err

int32_t ERR_mask(ERR_RECORD* record) { return orb::err::set_record_mask(record, true); }
int32_t ERR_unmask(ERR_RECORD* record) { return orb::err::set_record_mask(record, false); }
int32_t ERR_mask_s(uint32_t category) { return orb::err::set_category_mask(category, true); }
int32_t ERR_unmask_s(uint32_t category) { return orb::err::set_category_mask(category, false); }
