// The checked allocator: a record of every block, its bounds and whether it was released.
#include <cstdlib>

#include "orbbase/support/utl.h"
#include "orbbase/support/utl/block_index.h"
#include "orbbase/support/utl/messages.h"

namespace orb::utl {
namespace {

enum Status : uint16_t { kLive = 1, kReleased = 2 };

struct Entry {
  uint8_t* base;
  uint32_t size;     // bytes
  uint32_t element;  // bytes; 0: none
  uint16_t status;
};
static_assert(sizeof(void*) != 8 || sizeof(Entry) == 24);

constexpr uint32_t kGrowth = 100;
constexpr uint32_t kTableElement = 4;  // of the table's own entry
constexpr uint32_t kCached = 5;

// The blocks of the process. Never emptied.
struct State {
  Entry* table = nullptr;  // a block of the checked allocator itself, and its own first entry
  uint32_t count = 0;
  uint32_t capacity = 0;
  bool is_recording = true;       // off while the table grows, so that growing does not come back here
  uint32_t cached[kCached] = {};  // entries looked up last; those from cached_count on mean nothing
  uint32_t cached_count = 0;
  uint32_t next_cached = 0;  // the one that gives way
  BlockIndex index;
};
constinit State state;

constexpr const char* kUnknownBase = "Base pointer not in database.";

// ---- Looking up --------------------------------------------------------------------------------------

uint32_t search(const void* base) {
  if (state.index.is_usable()) return state.index.find(base);
  for (uint32_t i = 0; i < state.count; ++i) {
    if (state.table[i].base == base) return i;
  }
  return BlockIndex::kNone;
}

void put_in_cache(uint32_t entry) {
  state.cached[state.next_cached] = entry;
  if (state.cached_count < kCached) ++state.cached_count;
  state.next_cached = (state.next_cached + 1) % kCached;
}

Entry* look_up(const void* base) {
  for (uint32_t i = 0; i < state.cached_count; ++i) {
    Entry& entry = state.table[state.cached[i]];
    if (entry.base == base) return &entry;
  }
  const uint32_t found = search(base);
  if (found == BlockIndex::kNone) return nullptr;
  put_in_cache(found);
  return &state.table[found];
}

// The same, complaining when there is none.
Entry* require(const void* base) {
  Entry* entry = look_up(base);
  if (!entry) say(kWarning, kUnknownBase);
  return entry;
}

// An entry's block has moved. The cache holds entries, not bases, and finds it under the new one.
void set_base(Entry& entry, void* base) {
  state.index.remove(entry.base);
  entry.base = static_cast<uint8_t*>(base);
  state.index.insert(base, static_cast<uint32_t>(&entry - state.table));
}

// ---- Recording ---------------------------------------------------------------------------------------

void append(void* base, uint32_t size, uint32_t element) {
  state.table[state.count] = {static_cast<uint8_t*>(base), size, element, kLive};
  state.index.insert(base, state.count);
  ++state.count;
}

bool make_table() {
  void* const table = UTL_malloc(kGrowth * sizeof(Entry), sizeof(Entry));
  if (!table) return false;
  state.table = static_cast<Entry*>(table);
  state.capacity = kGrowth;
  append(table, state.capacity, kTableElement);
  return true;
}

bool enlarge_table() {
  const uint64_t size = (uint64_t{state.capacity} + kGrowth) * sizeof(Entry);
  if (size > UINT32_MAX) return false;
  const uint32_t own = search(state.table);
  void* const table = UTL_realloc(state.table, static_cast<uint32_t>(size), sizeof(Entry));
  if (!table) return false;
  state.table = static_cast<Entry*>(table);
  state.capacity += kGrowth;
  if (own == BlockIndex::kNone) {
    say(kFatal, "Internal error.");
    return true;
  }
  set_base(state.table[own], table);
  state.table[own].size = state.capacity;
  state.table[own].element = kTableElement;
  return true;
}

// False when there is no room for one more entry.
bool make_room() {
  if (state.capacity != 0 && (state.count == 0 || state.count % state.capacity != 0)) return true;
  state.is_recording = false;
  const bool has_room = state.capacity == 0 ? make_table() : enlarge_table();
  state.is_recording = true;
  return has_room;
}

// Complains of an address outside an entry's block.
void check_bounds(const Entry& entry, int64_t offset) {
  if (offset >= int64_t{entry.size}) {
    say(kFatal, "Ptr exceeds upper bound.");
  } else if (offset < 0) {
    say(kFatal, "Ptr exceeds lower bound.");
  }
}

}  // namespace
}  // namespace orb::utl

void* UTL_malloc(uint32_t size_bytes, uint32_t element_bytes) {
  using namespace orb::utl;
  if (size_bytes != 0 && element_bytes != 0 && size_bytes % element_bytes != 0) {
    say(kFatal, "Module not a multiple of size in malloc.");
  }
  void* const block = std::malloc(size_bytes);
  if (!block) {
    say(kFatal, "malloc has denied memory request.");
    return nullptr;
  }
  if (state.is_recording && make_room()) append(block, size_bytes, element_bytes);
  return block;
}

void* UTL_realloc(void* block, uint32_t size_bytes, uint32_t element_bytes) {
  using namespace orb::utl;
  Entry* const entry = require(block);
  if (!entry) return block;
  void* const moved = std::realloc(block, size_bytes != 0 ? size_bytes : 1);
  if (!moved) {
    say(kFatal, "Ptr request denied in realloc.");
    return nullptr;
  }
  if (!state.is_recording) return moved;
  set_base(*entry, moved);
  entry->size = size_bytes;
  entry->element = element_bytes;
  entry->status = kLive;
  return moved;
}

int32_t UTL_free(void* block) {
  using namespace orb::utl;
  Entry* entry = require(block);
  if (!entry) return 0;
  if (entry->status != kLive) {
    say(kWarning, "Ptr previously freed.");
  } else {
    entry->status = kReleased;
  }
  return 0;
}

void* UTL_check_pointer(const void* base, void* pointer) {
  using namespace orb::utl;
  const Entry* entry = require(base);
  if (!entry) return pointer;
  const auto address = static_cast<int64_t>(reinterpret_cast<uintptr_t>(pointer));
  check_bounds(*entry, address - static_cast<int64_t>(reinterpret_cast<uintptr_t>(base)));
  return pointer;
}

int32_t UTL_check_index(const void* base, int32_t index) {
  using namespace orb::utl;
  const Entry* entry = require(base);
  if (entry) check_bounds(*entry, int64_t{index} * entry->element);
  return index;
}
