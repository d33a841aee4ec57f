// An array that grows, for plain records, without exceptions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

#include "orbbase/support/err/internal.h"

namespace orb {

// Trivially destructible on purpose: process-wide arrays must outlast every atexit handler of the
// application. Whoever holds one on the stack releases it.
template <class T>
class Growable {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  // False when memory runs out (the allocator has reported it); the array is as it was.
  [[nodiscard]] bool append(const T& item, uint32_t first_capacity) {
    if (count_ == capacity_ && !grow(first_capacity)) return false;
    items_[count_++] = item;
    return true;
  }

  // Takes one item out and closes the gap; the order stays.
  void remove_at(uint32_t index) {
    std::memmove(items_ + index, items_ + index + 1, (count_ - index - 1) * sizeof(T));
    --count_;
  }

  // Puts one item behind all others; cannot fail.
  void move_to_end(uint32_t index) {
    const T item = items_[index];
    remove_at(index);
    items_[count_++] = item;
  }

  // Empties the array and gives its memory back; what the items own is the holder's affair.
  void release() {
    ERR_free(items_);
    *this = {};
  }

  [[nodiscard]] uint32_t count() const { return count_; }
  [[nodiscard]] T& operator[](uint32_t index) { return items_[index]; }
  [[nodiscard]] std::span<T> items() { return {items_, count_}; }

 private:
  [[nodiscard]] bool grow(uint32_t first_capacity) {
    const uint32_t wanted = capacity_ == 0 ? first_capacity : capacity_ * 2;
    if (wanted <= capacity_) return false;
    T* larger = static_cast<T*>(allocate(uint64_t{wanted} * sizeof(T)));
    if (!larger) return false;
    if (count_ > 0) std::memcpy(larger, items_, count_ * sizeof(T));
    ERR_free(items_);
    items_ = larger;
    capacity_ = wanted;
    return true;
  }

  T* items_ = nullptr;
  uint32_t count_ = 0;
  uint32_t capacity_ = 0;
};

}  // namespace orb
