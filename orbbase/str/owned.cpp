// Owned strings: making them, and growing them by appending and inserting.
#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "orbbase/str/internal.h"

namespace orb {
namespace {

constexpr uint64_t kMostBytes = PTRDIFF_MAX;  // no block can be larger

// A block for length characters and the zero, which is set. Null when memory runs out.
char* new_string(uint64_t length) {
  if (length >= kMostBytes) return nullptr;
  auto* s = static_cast<char*>(std::malloc(static_cast<size_t>(length) + 1));
  if (s) s[length] = '\0';
  return s;
}

char* save(const char* s, size_t length) {
  char* copy = new_string(length);
  if (copy) std::memcpy(copy, s, length);
  return copy;
}

// A new address for s with room for as many bytes; s stays as it is when memory runs out.
char* grow(char* s, size_t length, uint64_t more) {
  if (length >= kMostBytes || more > kMostBytes - length) return nullptr;
  return static_cast<char*>(std::realloc(s, length + static_cast<size_t>(more)));
}

size_t clamped(int64_t value, size_t most) {
  if (value <= 0) return 0;
  return std::min<uint64_t>(static_cast<uint64_t>(value), most);
}

// The length of a string of which n characters at most are looked at.
size_t length_within(const char* s, size_t n) {
  const void* end = std::memchr(s, '\0', n);
  return end ? static_cast<size_t>(static_cast<const char*>(end) - s) : n;
}

char* insert(char* s, std::string_view text, int64_t position) {
  const size_t length = STR_length(s);
  char* grown = grow(s, length, text.size() + uint64_t{1});
  if (!grown) return nullptr;
  if (!s) grown[0] = '\0';
  char* at = grown + clamped(position, length);
  std::memmove(at + text.size(), at, length - static_cast<size_t>(at - grown) + 1);
  std::memcpy(at, text.data(), text.size());
  return grown;
}

}  // namespace
}  // namespace orb

using namespace orb;

size_t STR_length(const char* s) { return s ? std::strlen(s) : 0; }

char* STR_more(char* s, int64_t n) {
  if (n < 0) return nullptr;
  const auto room = static_cast<uint64_t>(n);
  if (room >= kMostBytes) return nullptr;
  auto* grown = static_cast<char*>(std::realloc(s, static_cast<size_t>(room) + 1));
  if (!grown) return nullptr;
  if (!s) grown[0] = '\0';
  grown[room] = '\0';
  return grown;
}

char* STR_save(const char* s) { return save(s, std::strlen(s)); }

char* STR_n_save(const char* s, int64_t n) { return save(s, length_within(s, clamped(n, SIZE_MAX))); }

char* STR_save_n(int32_t count, ...) {
  va_list strings;
  va_start(strings, count);
  uint64_t length = 0;
  for (int32_t i = 0; i < count; ++i) length += std::strlen(va_arg(strings, const char*));
  va_end(strings);

  char* all = new_string(length);
  if (!all) return nullptr;
  char* end = all;
  va_start(strings, count);
  for (int32_t i = 0; i < count; ++i) {
    const char* s = va_arg(strings, const char*);
    const size_t part = std::strlen(s);
    std::memcpy(end, s, part);
    end += part;
  }
  va_end(strings);
  return all;
}

char* STR_append(char* s, const char* tail) {
  if (!s) return STR_save(tail);
  const size_t length = std::strlen(s);
  const size_t tail_length = std::strlen(tail);
  char* grown = grow(s, length, tail_length + uint64_t{2});
  if (grown) std::memcpy(grown + length, tail, tail_length + 1);
  return grown;
}

char* STR_n_append(char* s, const char* tail, int64_t n) {
  const size_t length = STR_length(s);
  const uint64_t count = n > 0 ? static_cast<uint64_t>(n) : 0;
  char* grown = grow(s, length, count + 1);
  if (!grown) return nullptr;
  const auto appended = static_cast<size_t>(count);
  const size_t copied = length_within(tail, appended);
  std::memcpy(grown + length, tail, copied);
  std::memset(grown + length + copied, 0, appended - copied + 1);
  return grown;
}

char* STR_insert(char* s, char c, int64_t position) { return insert(s, {&c, 1}, position); }

char* STR_n_insert(char* s, const char* text, int64_t position, int64_t n) {
  return insert(s, {text, length_within(text, clamped(n, SIZE_MAX))}, position);
}
