// Finds the entry of a block by its base: an open-addressing table beside the entries themselves.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orb::utl {

// Holds one entry number a base. When memory for it runs out it is given up for good, and its user searches the
// entries themselves. Its memory is the run-time library's and is never given back: it lives as long as the process.
class BlockIndex {
 public:
  // Puts a base in, unless it is there: the first entry of a base is the one that counts.
  void insert(const void* base, uint32_t entry);
  void remove(const void* base);

  // False when the index was given up: nothing can be said then.
  [[nodiscard]] bool is_usable() const { return !is_given_up_; }

  static constexpr uint32_t kNone = UINT32_MAX;
  // kNone when the base is not there.
  [[nodiscard]] uint32_t find(const void* base) const;

 private:
  struct Slot {
    const void* base;  // null: empty
    uint32_t entry;
  };

  [[nodiscard]] size_t first_slot(const void* base) const;
  [[nodiscard]] size_t slot_of(const void* base) const;
  [[nodiscard]] bool make_room();

  Slot* slots_ = nullptr;
  size_t size_ = 0;  // slots, a power of two
  size_t used_ = 0;
  bool is_given_up_ = false;
};

}  // namespace orb::utl
