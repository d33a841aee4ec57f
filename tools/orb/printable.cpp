// Text from strangers made safe to show; numbers as text, whatever the locale.
#include "printable.h"

#include <charconv>
#include <cstdint>

namespace orb::tool {
namespace {

struct Character {
  uint32_t code = 0;
  size_t length = 0;  // 0: the bytes are no character
};

bool is_continuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
Character next_character(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return {};
  uint32_t code = lead & (0xFFU >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    if (!is_continuation(byte(i))) return {};
    code = (code << 6) | (byte(i) & 0x3FU);
  }
  const uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < least[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return {};
  return {code, length};
}

bool steers(uint32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x061C || code == 0x200E || code == 0x200F ||
         (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) || code == 0xFEFF;
}

void append_escape(std::string& out, unsigned char byte) {
  constexpr char kHex[] = "0123456789abcdef";
  if (byte == '\n') {
    out += "\\n";
  } else if (byte == '\t') {
    out += "\\t";
  } else {
    out += "\\x";
    out += kHex[byte >> 4];
    out += kHex[byte & 15];
  }
}

}  // namespace

std::string printable(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Character c = next_character(text);
    const size_t length = c.length == 0 ? 1 : c.length;
    if (c.length == 0 || steers(c.code)) {
      for (size_t i = 0; i < length; ++i) append_escape(out, static_cast<unsigned char>(text[i]));
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return out;
}

std::string number(float value) {
  char digits[64];
  const auto [end, problem] = std::to_chars(digits, digits + sizeof digits, value);
  return problem == std::errc() ? std::string(digits, end) : std::string();
}

double as_written(float value) {
  const std::string digits = number(value);
  double out = static_cast<double>(value);
  std::from_chars(digits.data(), digits.data() + digits.size(), out);
  return out;
}

std::string counted(long long count, std::string_view thing) {
  return std::to_string(count) + " " + std::string(thing) + (count == 1 ? "" : "s");
}

}  // namespace orb::tool
