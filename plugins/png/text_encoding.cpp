#include "text_encoding.h"

namespace orb::png {
namespace {

bool is_continuation(unsigned char byte) { return (byte & 0xC0U) == 0x80; }

// The length of the UTF-8 sequence at the start of text, or 0 when it is none: overlong forms, surrogates and
// values above U+10FFFF included.
size_t sequence_length(std::string_view text) {
  const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    if (!is_continuation(byte(i))) return 0;
  }
  const unsigned char second = byte(1);
  if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F)) return 0;
  if ((first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F)) return 0;
  return length;
}

}  // namespace

Encoding encoding_of(std::string_view text) {
  Encoding encoding = Encoding::ascii;
  while (!text.empty()) {
    const size_t length = sequence_length(text);
    if (length == 0) return Encoding::other;
    if (length > 1) encoding = Encoding::utf8;
    text.remove_prefix(length);
  }
  return encoding;
}

plugin::owned<char> utf8_copy(std::string_view text, bool is_latin1) {
  const bool converts = is_latin1 || encoding_of(text) == Encoding::other;
  const uint64_t most_bytes = (converts ? 2 : 1) * static_cast<uint64_t>(text.size()) + 1;
  plugin::owned<char> copy(static_cast<char*>(plugin::allocate(most_bytes)));
  if (!copy) return nullptr;
  char* out = copy.get();
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (converts && byte >= 0x80) {
      *out++ = static_cast<char>(0xC0U | (byte >> 6));
      *out++ = static_cast<char>(0x80U | (byte & 0x3FU));
    } else {
      *out++ = c;
    }
  }
  *out = '\0';
  return copy;
}

}  // namespace orb::png
