// Real numbers as configuration files and picture headers write them.
#include "orbbase/support/config/real.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "orbbase/support/config/tokens.h"

namespace orb::config {
namespace {

// The logarithm of ten to seven digits, on purpose: values read so far depend on it.
constexpr double kLogOfTen = 2.3025851;

// Reads digits with at most one point and steps over them. False when there is no digit.
bool take_mantissa(const char*& p, double* value_out) {
  const char* const first = p;
  int digits = 0;
  for (bool has_point = false; is_digit(*p) || (*p == '.' && !has_point); ++p) {
    if (*p == '.')
      has_point = true;
    else
      digits = 1;
  }
  if (digits == 0) return false;
  const auto result = std::from_chars(first, p, *value_out, std::chars_format::fixed);
  if (result.ec == std::errc::result_out_of_range) {  // hundreds of digits before or behind the point
    const char* digit = first;
    while (*digit == '0') ++digit;
    *value_out = is_digit(*digit) ? std::numeric_limits<double>::infinity() : 0;
  }
  return true;
}

bool take_exponent(const char*& p, int* exponent_out) {
  const bool is_negative = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  if (!is_digit(*p)) return false;
  int exponent = *p++ - '0';
  if (is_digit(*p)) exponent = exponent * 10 + (*p++ - '0');
  *exponent_out = is_negative ? -exponent : exponent;
  return true;
}

}  // namespace

bool parse_real(const char* text, float* value_out) {
  const char* p = text;
  while (is_space(*p)) ++p;
  const bool is_negative = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  double value = 0;
  if (!take_mantissa(p, &value)) return false;
  if (*p == 'D' || *p == 'E' || *p == 'd' || *p == 'e') {
    int exponent = 0;
    if (!take_exponent(++p, &exponent)) return false;
    value *= std::exp(exponent * kLogOfTen);
  }
  if (*p != '\0') return false;
  if (value > static_cast<double>(std::numeric_limits<float>::max()))
    value = std::numeric_limits<double>::infinity();
  *value_out = static_cast<float>(is_negative ? -value : value);
  return true;
}

}  // namespace orb::config
