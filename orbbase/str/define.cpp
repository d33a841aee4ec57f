// Shared strings: one counted copy of every string that was defined, in a hashed table.
#include <cstring>

#include "orbbase/str/internal.h"

namespace orb {
namespace {

constexpr uint32_t kBuckets = 1023;

// One shared string. Its characters follow in the same block.
struct Entry {
  Entry* next;
  uint32_t references;
  uint32_t hash;  // before the modulo: tells most strings of a chain apart

  char* text() { return reinterpret_cast<char*>(this + 1); }
};

// A count that got here stays: its string is never released.
constexpr uint32_t kMostReferences = UINT32_MAX;

struct State {
  Entry* chains[kBuckets] = {};  // newest first
} state;

// The link that leads to the string's entry, or the null link at the end of its chain.
Entry** find_link(const char* s, const HashedText& hashed) {
  Entry** link = &state.chains[hashed.hash % kBuckets];
  while (*link && ((*link)->hash != hashed.hash || std::strcmp((*link)->text(), s) != 0))
    link = &(*link)->next;
  return link;
}

Entry* new_entry(const char* s, const HashedText& hashed) {
  auto* entry = static_cast<Entry*>(std::malloc(sizeof(Entry) + hashed.length + 1));
  if (!entry) return nullptr;
  *entry = {nullptr, 1, hashed.hash};
  std::memcpy(entry->text(), s, hashed.length + 1);
  return entry;
}

}  // namespace
}  // namespace orb

using namespace orb;

char* STR_define(const char* s) {
  const HashedText hashed = hash_text(s);
  if (Entry* known = *find_link(s, hashed)) {
    if (known->references != kMostReferences) ++known->references;
    return known->text();
  }
  Entry* entry = new_entry(s, hashed);
  if (!entry) return nullptr;
  Entry*& head = state.chains[hashed.hash % kBuckets];
  entry->next = head;
  head = entry;
  return entry->text();
}

int32_t STR_undefine(const char* s) {
  Entry** link = find_link(s, hash_text(s));
  Entry* entry = *link;
  if (!entry || entry->references == kMostReferences) return 0;
  if (--entry->references == 0) {
    *link = entry->next;
    std::free(entry);
  }
  return 0;
}

int32_t STR_undefine_array(char** array) {
  if (!array) return 0;
  for (char** slot = array; *slot; ++slot) STR_undefine(*slot);
  std::free(array);
  return 0;
}
