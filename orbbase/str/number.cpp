// Whether a text is a number.
#include <cstring>

#include "orbbase/str/internal.h"

namespace orb {
namespace {

constexpr char kLargest[] = "2147483647";
constexpr char kSmallest[] = "-2147483648";
constexpr size_t kMostDigits = sizeof(kLargest) - 1;

const char* skip_digits(const char* s) {
  while (*s >= '0' && *s <= '9') ++s;
  return s;
}

const char* skip_sign(const char* s) { return *s == '+' || *s == '-' ? s + 1 : s; }

}  // namespace
}  // namespace orb

using namespace orb;

int32_t STR_is_numeric(const char* s) { return s && *s && !*skip_digits(s); }

int32_t STR_is_integer(const char* s) {
  if (!s) return 0;
  const char* digits = skip_sign(s);
  if (!STR_is_numeric(digits)) return 0;
  // On purpose characters count, not the value: leading zeros can make a number too long.
  const size_t count = std::strlen(digits);
  if (count != kMostDigits) return count < kMostDigits;
  return (*s == '-' ? STR_compare(s, kSmallest) : STR_compare(digits, kLargest)) <= 0;
}

int32_t STR_is_real(const char* s) {
  if (!s || !*s) return 0;
  s = skip_digits(skip_sign(s));
  if (*s == '.') s = skip_digits(s + 1);
  if (*s == 'e' || *s == 'E') {
    if (!s[1]) return 0;
    s = skip_digits(skip_sign(s + 1));
  }
  return !*s;
}
