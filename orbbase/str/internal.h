// What the string family shares among its files and lends to the other rooms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

#include "orbbase/str.h"

namespace orb {

struct Freed {
  void operator()(void* block) const { std::free(block); }
};

// A block of malloc itself, as the string family gives them out.
template <class T>
using malloced = std::unique_ptr<T, Freed>;

// ---- Comparison ----

// STR_compare of two strings that are there. The first is the definition; the second, where the processor has
// the instructions, gives the same results and reads 16 characters at a time.
int32_t compare_bytewise(const char* a, const char* b);
int32_t compare_sse2(const char* a, const char* b);

// The difference of two addresses as the comparisons give it for null strings.
int32_t address_difference(const char* a, const char* b);

// ---- Hash ----

struct HashedText {
  uint32_t hash;  // before the modulo
  size_t length;
};

// One walk over a string for both.
inline HashedText hash_text(const char* s) {
  uint32_t hash = 0;
  const char* at = s;
  // Signed on purpose, whatever char is here: other tables depend on bytes 128-255 being negative.
  for (; *at; ++at) hash = hash * 33 + static_cast<uint32_t>(static_cast<int8_t>(*at));
  return {hash, static_cast<size_t>(at - s)};
}

// ---- String arrays: null-terminated, of malloc ----

// The number of strings before the null; 0 for a null array.
size_t array_count(char* const* array);

// Reallocates to room for count strings and the null; a null array becomes a new, empty one. Null when memory
// runs out: then the array is as it was.
[[nodiscard]] char** array_grow(char** array, size_t count);

// Appends a run of pointers to an array of count strings and terminates it again. Result as array_grow.
[[nodiscard]] char** array_append(char** array, size_t count, std::span<char* const> run);

// The slot that holds this very pointer, the first or the last; null when there is none.
char** array_find(char* const* array, const char* pointer);
char** array_find_last(char* const* array, const char* pointer);

// The index of the first such slot, -1 when there is none.
ptrdiff_t array_index(char* const* array, const char* pointer);

// Frees every string and the array.
void array_free(char** array);

// ---- File names in a buffer of known size ----

// The length of a path's host prefix without its ":"; npos when it has none.
size_t host_length(std::string_view path);

// STR_filename_host, STR_filename_absolute and STR_filename_relative for callers that know their buffer. Each
// writes out.size() bytes at most, with the zero. False, with an empty string in out, when that is too
// little. filename_host is false also for a path without a host prefix, and then leaves out alone.
[[nodiscard]] bool filename_host(std::span<char> out, std::string_view path);
[[nodiscard]] bool filename_absolute(std::span<char> out, std::string_view current, std::string_view path);
[[nodiscard]] bool filename_relative(std::span<char> out, std::string_view base, std::string_view path);

// Puts texts together in a buffer of known size. What does not fit makes it overflow, once and for all.
class BoundedText {
 public:
  explicit BoundedText(std::span<char> out) : out_(out) {}

  void append(std::string_view text);
  // Cuts to a length that it has had.
  void cut(size_t length) { length_ = length; }
  [[nodiscard]] std::string_view view() const { return {out_.data(), length_}; }
  // Terminates the text. False, with an empty one, if it did overflow.
  [[nodiscard]] bool finish();

 private:
  std::span<char> out_;
  size_t length_ = 0;
  bool overflowed_ = false;
};

}  // namespace orb
