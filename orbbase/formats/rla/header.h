// The 740 bytes before each image of an RLA file: their fields, and moving them in and out of a record. What a
// field means to the library is the affair of description.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orb::rla {

inline constexpr size_t kHeaderBytes = 740;
inline constexpr size_t kTimeOffset = 614;  // of the elapsed time, which is known last
inline constexpr size_t kTimeBytes = 12;
inline constexpr size_t kNextOffset = 736;  // of the position of the next image's header

inline constexpr int64_t kCurrentRevision = -2;  // bytes FF FE; anything else is the older revision

// A text field: cut at the field's size on reading, at one byte less on writing. A date that was made readable has
// more room than its field.
struct Text {
  static constexpr size_t kMostBytes = 255;
  char chars[kMostBytes + 1];

  void set(const char* text);  // null: empty
};

// One image's header.
struct Header {
  int64_t window_left, window_right, window_bottom, window_top;
  int64_t active_left, active_right, active_bottom, active_top;
  int64_t frame_number;
  int64_t color_type, color_count, matte_count, aux_count;
  int64_t revision;
  Text gamma, red, green, blue, white;
  int64_t job_number;
  Text file_name, description, program, machine, user, date;
  Text aspect, aspect_ratio, color_name;
  int64_t field;
  Text time, filter;
  int64_t color_bits, matte_type, matte_bits, aux_type, aux_bits;
  Text aux_name;
  int64_t next;
};

using HeaderBytes = std::span<uint8_t, kHeaderBytes>;
using ConstHeaderBytes = std::span<const uint8_t, kHeaderBytes>;

void parse_header(ConstHeaderBytes bytes, Header& out);

// Numbers are stored with their low bits; every byte that no field fills is zero.
void compose_header(const Header& header, HeaderBytes out);

// Whether this can be the header of an RLA file.
[[nodiscard]] bool is_sound(const Header& header);

// Big-endian words, as all numbers of the format are.
inline uint32_t load_word(const uint8_t* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}
inline void store_word(uint32_t value, uint8_t* bytes) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

}  // namespace orb::rla
