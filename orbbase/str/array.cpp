// Null-terminated arrays of string pointers: counting, growing and searching them.
#include <algorithm>

#include "orbbase/str/internal.h"

namespace orb {
namespace {

std::span<char* const> strings_of(char* const* array) { return {array, array_count(array)}; }

// The slot of the first, or last, string that a test picks; null when none is picked.
template <class Test>
char** find_first(char* const* array, Test is_wanted) {
  for (char* const& slot : strings_of(array)) {
    if (is_wanted(slot)) return const_cast<char**>(&slot);
  }
  return nullptr;
}

template <class Test>
char** find_last(char* const* array, Test is_wanted) {
  for (size_t i = array_count(array); i-- > 0;) {
    if (is_wanted(array[i])) return const_cast<char**>(&array[i]);
  }
  return nullptr;
}

}  // namespace

size_t array_count(char* const* array) {
  size_t count = 0;
  while (array && array[count]) ++count;
  return count;
}

char** array_grow(char** array, size_t count) {
  if (count >= SIZE_MAX / sizeof(char*)) return nullptr;
  auto** grown = static_cast<char**>(std::realloc(array, (count + 1) * sizeof(char*)));
  if (grown && !array) grown[0] = nullptr;
  return grown;
}

char** array_append(char** array, size_t count, std::span<char* const> run) {
  if (run.size() > SIZE_MAX - count) return nullptr;
  char** grown = array_grow(array, count + run.size());
  if (!grown) return nullptr;
  *std::copy(run.begin(), run.end(), grown + count) = nullptr;
  return grown;
}

char** array_find(char* const* array, const char* pointer) {
  return find_first(array, [pointer](const char* s) { return s == pointer; });
}

char** array_find_last(char* const* array, const char* pointer) {
  return find_last(array, [pointer](const char* s) { return s == pointer; });
}

ptrdiff_t array_index(char* const* array, const char* pointer) {
  char** slot = array_find(array, pointer);
  return slot ? slot - array : -1;
}

void array_free(char** array) {
  for (char* s : strings_of(array)) std::free(s);
  std::free(array);
}

}  // namespace orb

using namespace orb;

char** STR_find_string(char* const* array, const char* s) {
  return find_first(array, [s](const char* held) { return STR_compare(held, s) == 0; });
}

char** STR_find_string_reverse(char* const* array, const char* s) {
  return find_last(array, [s](const char* held) { return STR_compare(held, s) == 0; });
}
