// Writes the pieces of a path: texts, numbers, conversions, tokens.
#include <algorithm>
#include <charconv>

#include "orbbase/naming/internal.h"

namespace orb::naming {
namespace {

std::string_view match_or(const ORB_NAME_TOKEN& token, std::string_view otherwise) {
  if (!token.match) return otherwise;
  return {token.match, static_cast<size_t>(token.match_length)};
}

std::string_view field_letter(int32_t field) {
  if (field == 2) return "e";
  return field == 3 ? "o" : "";
}

void append_count(BoundedText& out, size_t number) {
  char text[24];
  const char* end = std::to_chars(text, text + sizeof text, number).ptr;
  out.append({text, static_cast<size_t>(end - text)});
}

void emit_frame(BoundedText& out, const ORB_NAME_TOKEN& token, const Emission& emission) {
  const Conversion shape{.has_zero_flag = true, .width = emission.frame.width};
  if (emission.mode == Mode::wildcard) {
    out.append("*");
    return;
  }
  if (emission.frame.frame != -1 && emission.mode == Mode::frame) {
    append_number(out, shape, emission.frame.frame);
  } else if (emission.frame.frame != -1) {
    append_conversion(out, shape);
  }
  out.append(field_letter(token.field));
}

}  // namespace

void append_repeated(BoundedText& out, char c, size_t count) {
  for (count = std::min(count, kMostWidth); count > 0; --count) out.append({&c, 1});
}

void append_text(BoundedText& out, std::string_view text, Mode mode) {
  if (mode != Mode::printf) {
    out.append(text);
    return;
  }
  for (size_t percent = text.find('%'); percent != std::string_view::npos; percent = text.find('%')) {
    out.append(text.substr(0, percent));
    out.append("%%");
    text.remove_prefix(percent + 1);
  }
  out.append(text);
}

void append_number(BoundedText& out, const Conversion& shape, int32_t number) {
  char text[24];
  const int64_t magnitude = number < 0 ? -int64_t{number} : number;
  const char* end = std::to_chars(text, text + sizeof text, magnitude).ptr;
  const auto digit_count = static_cast<size_t>(end - text);
  const size_t sign_count = number < 0 ? 1 : 0;
  // As in C, a precision switches the zero flag off.
  const bool fills_with_zeros = shape.has_zero_flag && !shape.has_precision;
  size_t digits_wanted = shape.has_precision ? shape.precision : digit_count;
  if (fills_with_zeros && shape.width > sign_count) digits_wanted = shape.width - sign_count;
  const size_t zero_count = std::max(digits_wanted, digit_count) - digit_count;
  const size_t used = sign_count + zero_count + digit_count;
  append_repeated(out, ' ', std::max(shape.width, used) - used);
  if (number < 0) out.append("-");
  append_repeated(out, '0', zero_count);
  out.append({text, digit_count});
}

void append_conversion(BoundedText& out, const Conversion& shape) {
  out.append(shape.has_zero_flag ? "%0" : "%");
  if (shape.width > 0) append_count(out, shape.width);
  if (shape.has_precision) {
    out.append(".");
    append_count(out, shape.precision);
  }
  out.append("d");
}

void emit_token(BoundedText& out, const ORB_NAME_TOKEN& token, const Emission& emission) {
  const std::string_view syntax_text{token.text, static_cast<size_t>(token.length)};
  switch (token.kind) {
    case ORB_TOKEN_EXTENSION:
      return append_text(out, emission.extension, emission.mode);
    case ORB_TOKEN_NAME:
      return append_text(out, match_or(token, syntax_text), emission.mode);
    case ORB_TOKEN_SEPARATOR:
      return append_text(out, match_or(token, syntax_text), emission.mode);
    case ORB_TOKEN_FIELD_COUNT:
      return out.append(match_or(token, "1"));
    case ORB_TOKEN_FRAME:
      return emit_frame(out, token, emission);
    default:
      return;
  }
}

}  // namespace orb::naming
