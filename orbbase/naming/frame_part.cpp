#include "orbbase/naming/frame_part.h"

#include <algorithm>

namespace orb::naming {
namespace {

// A number of a conversion; what is above kMostWidth counts as that.
size_t take_count(std::string_view text, size_t& at) {
  size_t count = 0;
  for (; at < text.size() && is_digit(text[at]); ++at) {
    count = std::min(count * 10 + static_cast<size_t>(text[at] - '0'), kMostWidth);
  }
  return count;
}

// The length of the conversion that a text, which begins with "%", begins with; 0 when that is none of those
// allowed: "%0", or "%" and the letter, up to the letter; "d" will do everywhere.
size_t parse_conversion(std::string_view text, char letter, Conversion& conversion) {
  if (text.size() < 2 || (text[1] != '0' && text[1] != letter)) return 0;
  size_t at = 1;
  conversion = {};
  conversion.has_zero_flag = text[1] == '0';
  conversion.width = take_count(text, at);
  if (at < text.size() && text[at] == '.') {
    conversion.has_precision = true;
    conversion.precision = take_count(text, ++at);
  }
  return at < text.size() && (text[at] == letter || text[at] == 'd') ? at + 1 : 0;
}

// A conversion as wide as digits that begin with 0, else of any width.
Conversion conversion_like(std::string_view digits) {
  if (digits.front() != '0') return {};
  return {.has_zero_flag = true, .width = digits.size()};
}

std::string_view digits_at_end(std::string_view text, size_t most) {
  size_t count = 0;
  while (count < most && count < text.size() && is_digit(text[text.size() - count - 1])) ++count;
  return text.substr(text.size() - count);
}

// Takes digits as the frame; without any, or with too many for a number, there is none.
FrameInName frame_from(std::string_view digits, size_t kept) {
  int32_t number = -1;
  if (!number_from_digits(digits, number)) return {.kept = 0};
  return {.is_found = true, .number = number, .kept = kept};
}

// A base name with a conversion of its own: that and what follows is the frame part.
FrameInName find_conversion(std::string_view base_name, FramePart& part) {
  for (size_t at = 0; at + 1 < base_name.size(); ++at) {
    if (base_name[at] != '%') continue;
    Conversion conversion;
    if (const size_t length = parse_conversion(base_name.substr(at), 'f', conversion)) {
      part = {{}, conversion, base_name.substr(at + length)};
      return {.is_found = true, .kept = at};
    }
    if (base_name[at + 1] == '%') ++at;
  }
  return {.kept = 0};
}

// The digits at the end, for a name that has an extension but not the frame part's separator.
FrameInName find_bare_digits(std::string_view text, FramePart& part) {
  const std::string_view digits = digits_at_end(text, text.size());
  const FrameInName frame = frame_from(digits, text.size() - digits.size());
  if (frame.is_found) part = {{}, conversion_like(digits), part.tail};
  return frame;
}

FrameInName find_behind_separator(std::string_view text, bool had_extension, FramePart& part) {
  const size_t separator = text.rfind(part.prefix.front());
  if (separator == std::string_view::npos) {
    return had_extension ? find_bare_digits(text, part) : FrameInName{.kept = 0};
  }
  std::string_view digits = text.substr(separator);
  if (!digits.starts_with(part.prefix)) return {.kept = 0};
  digits.remove_prefix(part.prefix.size());
  const FrameInName frame = frame_from(digits, separator);
  const size_t width = part.conversion.width;
  const bool is_wider_with_zero = digits.size() > width && digits.starts_with('0');
  if (frame.is_found && (digits.size() < width || is_wider_with_zero))
    part.conversion = conversion_like(digits);
  return frame;
}

FrameInName find_at_end(std::string_view text, FramePart& part) {
  const size_t width = part.conversion.has_zero_flag ? part.conversion.width : 0;
  const std::string_view digits = digits_at_end(text, width > 0 ? width : text.size());
  const FrameInName frame = frame_from(digits, text.size() - digits.size());
  const bool is_free_with_zero = width == 0 && digits.starts_with('0');
  if (frame.is_found && (digits.size() < width || is_free_with_zero))
    part.conversion = conversion_like(digits);
  return frame;
}

}  // namespace

std::string_view frame_part_of(std::string_view format_string) {
  if (format_string.ends_with("%s")) format_string.remove_suffix(2);
  const size_t last = format_string.rfind("%s");
  return last == std::string_view::npos ? format_string : format_string.substr(last + 2);
}

bool parse_frame_part(std::string_view text, std::span<char> buffer, FramePart& part) {
  size_t used = 0;
  size_t prefix_length = 0;
  bool has_conversion = false;
  for (size_t at = 0; at < text.size();) {
    if (text[at] != '%' || text.substr(at).starts_with("%%")) {
      buffer[used++] = text[at];
      at += text[at] == '%' ? 2 : 1;
      continue;
    }
    const size_t length = has_conversion ? 0 : parse_conversion(text.substr(at), 'd', part.conversion);
    if (length == 0) return false;
    has_conversion = true;
    prefix_length = used;
    at += length;
  }
  const std::string_view literals(buffer.data(), used);
  part.prefix = literals.substr(0, prefix_length);
  part.tail = literals.substr(prefix_length);
  return has_conversion;
}

FrameInName find_frame(std::string_view base_name, bool had_extension, FramePart& part) {
  const FrameInName own = find_conversion(base_name, part);
  if (own.is_found || !base_name.ends_with(part.tail)) return own;
  base_name.remove_suffix(part.tail.size());
  return part.prefix.empty() ? find_at_end(base_name, part)
                             : find_behind_separator(base_name, had_extension, part);
}

}  // namespace orb::naming
