#include "orbbase/formats/rla/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace orb::rla {
namespace {

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Steps over a number and stores it. False when there is none.
bool take_number(const char*& p, const char* end, float* out) {
  while (p < end && is_blank(*p)) ++p;
  const char* const first = p < end && *p == '+' ? p + 1 : p;
  if (first > p && first < end && *first == '-') return false;
  double value = 0;
  const auto result = std::from_chars(first, end, value);
  if (result.ec != std::errc() || !std::isfinite(static_cast<float>(value))) return false;
  p = result.ptr;
  *out = static_cast<float>(value);
  return true;
}

}  // namespace

void append_number(std::span<char> text, size_t width, int decimals, double value) {
  // The longest double has 309 digits before the point.
  char digits[336];
  const size_t count = static_cast<size_t>(
      std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals).ptr - digits);
  size_t used = std::strlen(text.data());
  const auto append = [&text, &used](const char* chars, size_t wanted) {
    const size_t bytes = std::min(wanted, text.size() - 1 - used);
    std::memcpy(text.data() + used, chars, bytes);
    used += bytes;
  };
  if (used > 0) append(" ", 1);
  for (size_t i = count; i < width; ++i) append(" ", 1);
  append(digits, count);
  text[used] = '\0';
}

int read_pair(const char* text, float* first_out, float* second_out) {
  const char* const end = text + std::strlen(text);
  if (!take_number(text, end, first_out)) return 0;
  return take_number(text, end, second_out) ? 2 : 1;
}

}  // namespace orb::rla
