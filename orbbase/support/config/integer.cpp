// Whole numbers as configuration files write them, in the same way in every locale.
#include "orbbase/support/config/integer.h"

#include <algorithm>
#include <limits>

#include "orbbase/support/config/tokens.h"

namespace orb::config {
namespace {

constexpr int64_t kLowest = std::numeric_limits<int32_t>::min();
constexpr int64_t kHighest = std::numeric_limits<int32_t>::max();

// Reads a sign and digits and steps over them. A value far out of range stays out of range.
int64_t take_integer(const char*& p, bool* has_digits_out) {
  const bool is_negative = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  int64_t value = 0;
  *has_digits_out = is_digit(*p);
  for (; is_digit(*p); ++p) value = std::min<int64_t>(value * 10 + (*p - '0'), kHighest + 2);
  return is_negative ? -value : value;
}

}  // namespace

int32_t leading_integer(const char* text) {
  while (is_space(*text)) ++text;
  bool has_digits = false;
  return static_cast<int32_t>(std::clamp(take_integer(text, &has_digits), kLowest, kHighest));
}

bool parse_integer(const char* text, int32_t* value_out) {
  bool has_digits = false;
  const int64_t value = take_integer(text, &has_digits);
  if (!has_digits || *text != '\0' || value < kLowest || value > kHighest) return false;
  *value_out = static_cast<int32_t>(value);
  return true;
}

}  // namespace orb::config
