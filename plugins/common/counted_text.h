// Texts that are made twice: first to learn the size, then in their place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "plugins/common/memory.h"

namespace orb::plugin {

// Counts the characters, and stores them where there is a place.
class CountedText {
 public:
  explicit CountedText(char* out) : out_(out) {}
  void add(char c) {
    if (out_) out_[size_] = c;
    ++size_;
  }
  void add(std::string_view text) {
    for (const char c : text) add(c);
  }
  [[nodiscard]] uint64_t size() const { return size_; }

 private:
  char* out_;
  uint64_t size_ = 0;
};

// The text that write(CountedText&) adds, each time the same, zero-terminated. Null, with the code set, when memory ran
// out.
template <class Write>
[[nodiscard]] owned<char> make_text(Write write) {
  CountedText counted(nullptr);
  write(counted);
  owned<char> text = make_zeroed<char>(counted.size() + 1);
  if (!text) return nullptr;
  CountedText stored(text.get());
  write(stored);
  return text;
}

}  // namespace orb::plugin
