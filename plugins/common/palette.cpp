#include "palette.h"

#include "reports.h"

namespace orb::plugin {

const ORB_LUT* lent_table(const ORB_INFO& info, int32_t most_entries) {
  const auto* table = reinterpret_cast<const ORB_LUT*>(static_cast<uintptr_t>(info.write_option));
  if (!table || !table->entries) {
    refuse(ORB_MSG_CANNOT_WRITE, info.handle, "colour indices need a lookup table");
    return nullptr;
  }
  if (table->entry_count < 1 || table->entry_count > most_entries) {
    refuse(ORB_MSG_CANNOT_WRITE, info.handle,
           "the lookup table does not fit the width of the colour indices");
    return nullptr;
  }
  return table;
}

}  // namespace orb::plugin
