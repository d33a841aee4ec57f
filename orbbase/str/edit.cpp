// Changes to a string in its own place: padding, removing characters, letter case.
#include <algorithm>
#include <cctype>
#include <cstring>

#include "orbbase/str/internal.h"

namespace orb {
namespace {

void remove(char* s, size_t index, size_t n) {
  const size_t length = std::strlen(s);
  if (index >= length) return;
  const size_t removed = std::min(n, length - index);
  std::memmove(s + index, s + index + removed, length - index - removed + 1);
}

template <class Change>
char* change_each(char* s, Change change) {
  for (char* at = s; *at; ++at) *at = static_cast<char>(change(static_cast<unsigned char>(*at)));
  return s;
}

}  // namespace
}  // namespace orb

using namespace orb;

char* STR_pad(char* s, char c, int64_t width) {
  const size_t length = std::strlen(s);
  if (width <= 0 || static_cast<uint64_t>(width) <= length) return s;
  std::memset(s + length, c, static_cast<size_t>(width) - length);
  s[width] = '\0';
  return s;
}

char* STR_remove(char* s, char c) {
  char* found = c ? std::strchr(s, c) : nullptr;
  if (found) remove(found, 0, 1);
  return s;
}

char* STR_remove_all(char* s, char c) {
  char* kept_end = s;
  for (const char* at = s; *at; ++at) {
    if (*at != c) *kept_end++ = *at;
  }
  *kept_end = '\0';
  return s;
}

char* STR_remove_reverse(char* s, char c) {
  char* found = c ? std::strrchr(s, c) : nullptr;
  if (found) remove(found, 0, 1);
  return s;
}

char* STR_remove_index(char* s, int64_t index) {
  if (index < 0) return nullptr;
  remove(s, static_cast<size_t>(index), 1);
  return s;
}

char* STR_n_remove_index(char* s, int64_t index, int64_t n) {
  if (index < 0) {
    // n grows by the magnitude of the index, on purpose; past the largest number it could not matter.
    n = n > INT64_MAX + index ? INT64_MAX : n - index;
    index = 0;
  }
  if (n > 0) remove(s, static_cast<size_t>(index), static_cast<size_t>(n));
  return s;
}

char* STR_tolower(char* s) {
  return change_each(s, [](unsigned char c) { return std::tolower(c); });
}

char* STR_toupper(char* s) {
  return change_each(s, [](unsigned char c) { return std::toupper(c); });
}
