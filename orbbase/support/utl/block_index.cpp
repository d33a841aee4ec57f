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

// Keeps a third of the slots empty; on the way the removed ones go.
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
  size_t at = first_slot(base);
  for (; slots_[at].base || slots_[at].entry == kRemoved; at = (at + 1) & (size_ - 1)) {
    if (slots_[at].base == base) return;
  }
  slots_[at] = {base, entry};
  ++used_;
}

uint32_t BlockIndex::find(const void* base) const {
  if (size_ == 0 || !base) return kNone;
  for (size_t at = first_slot(base);; at = (at + 1) & (size_ - 1)) {
    const Slot& slot = slots_[at];
    if (slot.base == base) return slot.entry;
    if (!slot.base && slot.entry != kRemoved) return kNone;
  }
}

void BlockIndex::remove(const void* base) {
  if (size_ == 0 || !base) return;
  for (size_t at = first_slot(base);; at = (at + 1) & (size_ - 1)) {
    Slot& slot = slots_[at];
    if (!slot.base && slot.entry != kRemoved) return;
    if (slot.base != base) continue;
    slot = {nullptr, kRemoved};
    return;
  }
}

}  // namespace orb::utl
