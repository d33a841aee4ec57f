// Abbreviations: words against patterns in which a "*" marks the shortest form.
#include "orbbase/str/internal.h"

using namespace orb;

int32_t STR_abbr(const char* word, const char* pattern) {
  if (!word) return 0;
  for (; *pattern != '*'; ++word, ++pattern) {
    if (*word != *pattern) return 0;
    if (!*word) return 1;
  }
  ++pattern;
  for (; *word == *pattern; ++word, ++pattern) {
    if (!*word) return 1;
  }
  return !*word;
}

int32_t STR_abbr_compare(const char* a, const char* b) {
  if (!a || !b) return address_difference(a, b);
  for (;;) {
    if (*a == *b) {
      if (!*a) return 0;
      ++a, ++b;
    } else if (*a == '*') {
      ++a;
    } else if (*b == '*') {
      ++b;
    } else {
      return static_cast<int8_t>(*a) - static_cast<int8_t>(*b);
    }
  }
}
