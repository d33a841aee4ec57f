// A free list of records of one size: what is given back is handed out again, nothing returns to the system.
#pragma once

#include <cstdint>

namespace orb {

// One size of record to a pool. The pool only grows and owns nothing but its free records; one with static
// storage keeps them to the end of the process.
class Pool {
 public:
  // A free record, or a new block of size_bytes (at least a pointer's size); the contents are undefined.
  // Null, with the allocator's report, when memory runs out.
  [[nodiscard]] void* take(uint64_t size_bytes);

  // Puts a record taken from this pool on the free chain. Its first word becomes the pool's. Null is ignored.
  void give(void* record);

 private:
  struct Free {
    Free* next;
  };
  Free* free_ = nullptr;
};

}  // namespace orb
