// Where the frame number stands in a file's name.
#include <charconv>
#include <limits>

#include "pattern.h"

namespace orb::frames {
namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Where the extension begins, with its dot; the end of the name when it has none.
size_t extension_start(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return name.size();
  for (size_t i = dot + 1; i < name.size(); ++i) {
    if (!is_digit(name[i])) return dot;
  }
  return dot + 1 < name.size() ? name.size() : dot;
}

bool is_sign(std::string_view name, size_t at) {
  return name[at] == '-' && (at == 0 || name[at - 1] == '.' || name[at - 1] == '_');
}

}  // namespace

std::optional<Frame> frame_from_digits(std::string_view text) {
  const bool is_negative = text.starts_with('-');
  if (text.size() == is_negative || text.size() > kMostWidth) return std::nullopt;
  int64_t value = 0;
  for (const char c : text.substr(is_negative)) {
    if (!is_digit(c)) return std::nullopt;
    value = value * 10 + (c - '0');
    if (value > int64_t{std::numeric_limits<Frame>::max()} + is_negative) return std::nullopt;
  }
  if (is_negative && value == 0) return std::nullopt;  // frame 0 is never written so
  return static_cast<Frame>(is_negative ? -value : value);
}

std::optional<NameParts> split_name(std::string_view name) {
  size_t end = extension_start(name);
  while (end > 0 && !is_digit(name[end - 1])) --end;
  size_t begin = end;
  while (begin > 0 && is_digit(name[begin - 1])) --begin;
  if (begin == end) return std::nullopt;
  if (begin > 0 && is_sign(name, begin - 1)) --begin;
  const std::string_view number = name.substr(begin, end - begin);
  const std::optional<Frame> frame = frame_from_digits(number);
  if (!frame) return std::nullopt;
  return NameParts{name.substr(0, begin), number, name.substr(end), *frame};
}

}  // namespace orb::frames
