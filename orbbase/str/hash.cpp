// The hash that every table of the library uses.
#include "orbbase/str/internal.h"

uint32_t STR_hash(const char* s, uint32_t modulus) {
  if (!s || !*s) return 0;  // on purpose before the modulus is looked at
  return orb::hash_text(s).hash % modulus;
}
