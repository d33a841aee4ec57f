#include "orbbase/support/utl/block_index.h"

#include <cstdlib>
#include <iterator>
#include <span>

namespace orb::utl {

// Blocks lie 16 bytes apart at least, and often a power of two: the upper bits of a product are well mixed.
size_t BlockIndex::first_slot(const void* base) const {
  const uint64_t mixed = (reinterpret_cast<uintptr_t>(base) >> 4) * uint64_t{0x9E3779B97F4A7C15};
  return static_cast<size_t>(mixed >> 32) & (size_ - 1);
}

// Keeps a third of the slots empty.
bool BlockIndex::make_room() {
  if (is_given_up_) return false;
  if (used_ * 3 < size_ * 2) return true;
  const std::span<Slot> before(slots_, size_);
  const size_t size = size_ == 0 ? 256 : size_ * 2;
  auto* const slots = static_cast<Slot*>(std::calloc(size, sizeof(Slot)));
  is_given_up_ = !slots;
  slots_ = slots;
  size_ = slots ? size : 0;
  used_ = 0;
  for (const Slot& slot : before) {
    if (slot.base && slots) insert(slot.base, slot.entry);
  }
  std::free(before.data());
  return slots != nullptr;
}

void BlockIndex::insert(const void* base, uint32_t entry) {
  if (!base || !make_room()) return;
  Slot& slot = slots_[slot_of(base)];
  if (slot.base) return;
  slot = {base, entry};
  ++used_;
}

// The slot that holds the base, or the empty one at which the search for it ends. There are slots.
size_t BlockIndex::slot_of(const void* base) const {
  size_t at = first_slot(base);
  while (slots_[at].base && slots_[at].base != base) at = (at + 1) & (size_ - 1);
  return at;
}

uint32_t BlockIndex::find(const void* base) const {
  if (size_ == 0 || !base) return kNone;
  const Slot& slot = slots_[slot_of(base)];
  return slot.base ? slot.entry : kNone;
}

// What stands behind the gap moves up into it where its own search would come past, so that no mark has to stay.
void BlockIndex::remove(const void* base) {
  if (size_ == 0 || !base) return;
  const size_t mask = size_ - 1;
  size_t gap = slot_of(base);
  if (!slots_[gap].base) return;
  for (size_t at = (gap + 1) & mask; slots_[at].base; at = (at + 1) & mask) {
    if (((at - first_slot(slots_[at].base)) & mask) < ((at - gap) & mask)) continue;
    slots_[gap] = slots_[at];
    gap = at;
  }
  slots_[gap] = {};
  --used_;
}

}  // namespace orb::utl
