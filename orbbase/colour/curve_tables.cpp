// The memory of a response curve's tables, and which descriptions can have any.
#include "orbbase/colour/curve_tables.h"

#include "orbbase/support/err/internal.h"

namespace orb::curve {
namespace {

constexpr MessageText kBadDepth = {902, 1101, ERR_ERROR,
                                   "Invalid curve depth %d found: must be in the range %d to %d"};
constexpr MessageText kBadType = {
    902, 1102, ERR_ERROR, "Invalid curve type %d found: must be of type ORB_C_INTEGER or ORB_C_FLOAT"};

uint64_t entry_bytes(Entry entry) { return entry == Entry::byte ? 1 : entry == Entry::word ? 2 : 4; }

void point_into(void** pointers, uint8_t* block, int32_t count, uint64_t table_bytes) {
  for (int32_t channel = 0; channel < count; ++channel, block += table_bytes) pointers[channel] = block;
}

}  // namespace

Entry entry_of(const ORB_RESPONSE_CURVE& curve) {
  if (curve.curve_type == ORB_C_FLOAT) return Entry::real;
  if (curve.curve_type != ORB_C_INTEGER || curve.depth < 8 || curve.depth > 16) return Entry::none;
  return curve.depth == 8 ? Entry::byte : Entry::word;
}

Entry checked_entry_of(const ORB_RESPONSE_CURVE& curve) {
  const Entry entry = entry_of(curve);
  if (entry != Entry::none) return entry;
  if (curve.curve_type == ORB_C_INTEGER) {
    report(kBadDepth, 1, 8, 16);  // these three, whatever the depth is, on purpose
  } else {
    report(kBadType, curve.curve_type);
  }
  return entry;
}

bool has_tables(const ORB_RESPONSE_CURVE& curve) {
  return curve.tables && curve.channel_count > 0 && curve.resolution > 0;
}

bool allocate_tables(ORB_RESPONSE_CURVE& curve) {
  curve.tables = nullptr;
  const Entry entry = entry_of(curve);
  if (entry == Entry::none || curve.channel_count < 1 || curve.resolution < 1) return false;

  const uint64_t channels = static_cast<uint64_t>(curve.channel_count);
  const uint64_t resolution = static_cast<uint64_t>(curve.resolution);
  owned<void*> pointers = make_zeroed<void*>(channels);
  owned<uint8_t> block;
  if (pointers) {
    block.reset(static_cast<uint8_t*>(allocate_zeroed(channels * resolution, entry_bytes(entry))));
  }
  if (!block) {
    set_error(ORB_E_MEMORY);
    return false;
  }
  point_into(pointers.get(), block.release(), curve.channel_count, resolution * entry_bytes(entry));
  curve.tables = pointers.release();
  return true;
}

}  // namespace orb::curve
