#include "orbbase/formats/rla/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace orb::rla {
namespace {

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// What the texts of most headers are: digits, a point and digits, few enough to be one exact number each, so that
// the one division rounds as it should. False, with nothing stepped over, for anything else.
bool take_short_number(const char*& p, const char* end, double* out) {
  constexpr double kPowersOfTen[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8};
  int64_t digits = 0;
  const char* at = p;
  for (; at < end && at - p < 8 && is_digit(*at); ++at) digits = 10 * digits + (*at - '0');
  if (at == p || at == end || *at != '.') return false;
  const char* const decimals = ++at;
  for (; at < end && at - p < 9 && is_digit(*at); ++at) digits = 10 * digits + (*at - '0');
  if (at == decimals || (at < end && *at != ' ')) return false;
  *out = static_cast<double>(digits) / kPowersOfTen[at - decimals];
  p = at;
  return true;
}

// Steps over a number and stores it. False when there is none.
bool take_number(const char*& p, const char* end, float* out) {
  while (p < end && is_blank(*p)) ++p;
  const char* const first = p < end && *p == '+' ? p + 1 : p;
  if (first > p && first < end && *first == '-') return false;
  double value = 0;
  p = first;
  if (take_short_number(p, end, &value)) {
    *out = static_cast<float>(value);
    return true;
  }
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
