#include "plain.h"

#include <charconv>

namespace orb::pnm {
namespace {

constexpr size_t kLineBytes = 70;
constexpr uint32_t kTooLarge = 65536;
constexpr int kMostDigits = 16;

bool is_space(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The first byte that is neither space nor part of a comment, or EOF.
int next_mark(std::FILE* file) {
  int c = getc_unlocked(file);
  while (is_space(c) || c == '#') {
    if (c == '#') {
      while (c != EOF && c != '\n' && c != '\r') c = getc_unlocked(file);
    }
    if (c != EOF) c = getc_unlocked(file);
  }
  return c;
}

PlainEnd read_bit(std::FILE* file, uint32_t* out) {
  const int c = next_mark(file);
  if (c == EOF) return PlainEnd::file_ends;
  *out = c == '0' ? 1 : 0;
  return c == '0' || c == '1' ? PlainEnd::ok : PlainEnd::bad_byte;
}

PlainEnd read_number(std::FILE* file, uint32_t* out) {
  int c = next_mark(file);
  if (c == EOF) return PlainEnd::file_ends;
  uint32_t value = 0;
  int digits = 0;
  for (; c >= '0' && c <= '9' && digits < kMostDigits; c = getc_unlocked(file), ++digits) {
    value = value < kTooLarge ? value * 10 + static_cast<uint32_t>(c - '0') : value;
  }
  *out = value;
  if (c == '#') std::ungetc(c, file);
  // Who writes a file without an end of its last line has written the last number all the same.
  const bool is_ended = c == EOF || is_space(c) || c == '#';
  return digits > 0 && is_ended ? PlainEnd::ok : PlainEnd::bad_byte;
}

uint32_t sample_at(const Header& header, const uint8_t* packed, uint64_t i) {
  return header.bits > 8 ? reinterpret_cast<const uint16_t*>(packed)[i] : packed[i];
}

}  // namespace

PlainEnd read_plain_row(std::FILE* file, const Header& header, uint8_t* packed) {
  const uint64_t count = static_cast<uint64_t>(header.width) * header.samples();
  const bool is_bits = header.kind == Kind::pbm;
  for (uint64_t i = 0; i < count; ++i) {
    uint32_t value = 0;
    const PlainEnd end = is_bits ? read_bit(file, &value) : read_number(file, &value);
    if (end != PlainEnd::ok) return end;
    if (value >> header.bits != 0) return PlainEnd::too_large;
    if (header.bits > 8) {
      reinterpret_cast<uint16_t*>(packed)[i] = static_cast<uint16_t>(value);
    } else {
      packed[i] = static_cast<uint8_t>(value);
    }
  }
  return PlainEnd::ok;
}

bool write_plain_row(std::FILE* file, const Header& header, const uint8_t* packed) {
  const uint64_t count = static_cast<uint64_t>(header.width) * header.samples();
  const bool is_bits = header.kind == Kind::pbm;
  char line[kLineBytes + 1];
  size_t used = 0;
  for (uint64_t i = 0; i < count; ++i) {
    char digits[8];
    const uint32_t sample = sample_at(header, packed, i) ^ (is_bits ? 1U : 0U);
    const size_t length =
        static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, sample).ptr - digits);
    const size_t gap = used > 0 && !is_bits ? 1 : 0;
    if (used + gap + length > kLineBytes) {
      line[used++] = '\n';
      if (std::fwrite(line, 1, used, file) != used) return false;
      used = 0;
    } else if (gap != 0) {
      line[used++] = ' ';
    }
    for (size_t digit = 0; digit < length; ++digit) line[used++] = digits[digit];
  }
  line[used++] = '\n';
  return std::fwrite(line, 1, used, file) == used;
}

}  // namespace orb::pnm
