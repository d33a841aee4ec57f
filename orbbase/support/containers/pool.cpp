// The free-list pool.
#include "orbbase/support/containers/pool.h"

#include <algorithm>
#include <new>

#include "orbbase/support/err/internal.h"

namespace orb {

void* Pool::take(uint64_t size_bytes) {
  if (!free_) return allocate(std::max<uint64_t>(size_bytes, sizeof(Free)));
  Free* record = free_;
  free_ = record->next;
  return record;
}

void Pool::give(void* record) {
  if (record) free_ = new (record) Free{free_};
}

}  // namespace orb
