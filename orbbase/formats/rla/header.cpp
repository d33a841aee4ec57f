#include "orbbase/formats/rla/header.h"

#include <algorithm>
#include <cstring>

namespace orb::rla {
namespace {

enum class Kind { signed_number, unsigned_number, text, zeros };

struct Field {
  uint16_t offset;
  uint16_t bytes;
  Kind kind;
  int64_t Header::*number;
  Text Header::*text;
};

constexpr Field int16_at(uint16_t offset, int64_t Header::*number) {
  return {offset, 2, Kind::signed_number, number, nullptr};
}
constexpr Field int32_at(uint16_t offset, int64_t Header::*number) {
  return {offset, 4, Kind::signed_number, number, nullptr};
}
constexpr Field uint32_at(uint16_t offset, int64_t Header::*number) {
  return {offset, 4, Kind::unsigned_number, number, nullptr};
}
constexpr Field text_at(uint16_t offset, uint16_t bytes, Text Header::*text) {
  return {offset, bytes, Kind::text, nullptr, text};
}
constexpr Field zeros_at(uint16_t offset, uint16_t bytes) {
  return {offset, bytes, Kind::zeros, nullptr, nullptr};
}

constexpr Field kFields[] = {
    int16_at(0, &Header::window_left),
    int16_at(2, &Header::window_right),
    int16_at(4, &Header::window_bottom),
    int16_at(6, &Header::window_top),
    int16_at(8, &Header::active_left),
    int16_at(10, &Header::active_right),
    int16_at(12, &Header::active_bottom),
    int16_at(14, &Header::active_top),
    int16_at(16, &Header::frame_number),
    int16_at(18, &Header::color_type),
    int16_at(20, &Header::color_count),
    int16_at(22, &Header::matte_count),
    int16_at(24, &Header::aux_count),
    int16_at(26, &Header::revision),
    text_at(28, 16, &Header::gamma),
    text_at(44, 24, &Header::red),
    text_at(68, 24, &Header::green),
    text_at(92, 24, &Header::blue),
    text_at(116, 24, &Header::white),
    int32_at(140, &Header::job_number),
    text_at(144, 128, &Header::file_name),
    text_at(272, 128, &Header::description),
    text_at(400, 64, &Header::program),
    text_at(464, 32, &Header::machine),
    text_at(496, 32, &Header::user),
    text_at(528, 20, &Header::date),
    text_at(548, 24, &Header::aspect),
    text_at(572, 8, &Header::aspect_ratio),
    text_at(580, 32, &Header::color_name),
    int16_at(612, &Header::field),
    text_at(kTimeOffset, kTimeBytes, &Header::time),
    text_at(626, 32, &Header::filter),
    int16_at(658, &Header::color_bits),
    int16_at(660, &Header::matte_type),
    int16_at(662, &Header::matte_bits),
    int16_at(664, &Header::aux_type),
    int16_at(666, &Header::aux_bits),
    text_at(668, 32, &Header::aux_name),
    zeros_at(700, 36),
    uint32_at(kNextOffset, &Header::next),
};

constexpr bool fields_fill_the_header() {
  size_t end = 0;
  for (const Field& field : kFields) {
    if (field.offset != end || field.bytes > Text::kMostBytes) return false;
    end += field.bytes;
  }
  return end == kHeaderBytes;
}
static_assert(fields_fill_the_header());

int64_t load_number(const uint8_t* bytes, const Field& field) {
  uint64_t value = 0;
  for (size_t i = 0; i < field.bytes; ++i) value = value << 8 | bytes[i];
  if (field.kind == Kind::unsigned_number) return static_cast<int64_t>(value);
  const uint64_t sign = uint64_t{1} << (8 * field.bytes - 1);
  return static_cast<int64_t>(value ^ sign) - static_cast<int64_t>(sign);
}

void store_number(int64_t value, const Field& field, uint8_t* bytes) {
  const auto bits = static_cast<uint64_t>(value);
  for (size_t i = 0; i < field.bytes; ++i) bytes[i] = static_cast<uint8_t>(bits >> 8 * (field.bytes - 1 - i));
}

bool is_range(int64_t low, int64_t high) { return low >= 0 && low <= high; }

bool has_sound_windows(const Header& header) {
  return is_range(header.window_left, header.window_right) &&
         is_range(header.window_bottom, header.window_top) &&
         is_range(header.active_left, header.active_right) &&
         is_range(header.active_bottom, header.active_top) && header.active_left >= header.window_left &&
         header.active_right <= header.window_right && header.active_bottom >= header.window_bottom &&
         header.active_top <= header.window_top;
}

}  // namespace

void Text::set(const char* text) {
  const size_t bytes = text ? std::min(std::strlen(text), kMostBytes) : 0;
  if (bytes > 0) std::memcpy(chars, text, bytes);
  chars[bytes] = '\0';
}

void parse_header(ConstHeaderBytes bytes, Header& out) {
  for (const Field& field : kFields) {
    const uint8_t* const at = bytes.data() + field.offset;
    if (field.number) {
      out.*field.number = load_number(at, field);
    } else if (field.text) {
      char* const chars = (out.*field.text).chars;
      std::memcpy(chars, at, field.bytes);
      chars[field.bytes] = '\0';
    }
  }
}

void compose_header(const Header& header, HeaderBytes out) {
  std::memset(out.data(), 0, out.size());
  for (const Field& field : kFields) {
    uint8_t* const at = out.data() + field.offset;
    if (field.number) {
      store_number(header.*field.number, field, at);
    } else if (field.text) {
      const char* const chars = (header.*field.text).chars;
      std::memcpy(at, chars, std::min<size_t>(std::strlen(chars), field.bytes - 1U));
    }
  }
}

bool is_sound(const Header& header) {
  return has_sound_windows(header) &&
         (header.aspect.chars[0] != '\0' || header.aspect_ratio.chars[0] != '\0') &&
         header.color_count >= 0 && header.color_count <= 3 && header.matte_count >= 0 &&
         header.matte_type >= 0 && header.color_type >= 0;
}

}  // namespace orb::rla
