// The kinds of files of the family, the formats that are made of them, and what each kind can hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "orbbase/core.h"

namespace orb::pnm {

enum class Kind : int32_t { automatic = 0, pbm = 1, pgm = 2, ppm = 3, pam = 4, pfm = 5 };

// How a sample stands in a file: eight black-and-white pixels a byte, a byte, two bytes with the high one
// first, a number of IEEE 754.
enum class Form { bits, bytes, shorts, floats };

// A format as the library knows it: all read every kind.
struct Member {
  std::string_view key;
  const char* extension;
  const char* name;
  const char* description;
  Kind kind;  // that is written; automatic: the simplest of pbm, pgm and ppm that holds the picture
  int32_t channels;
  int32_t mattes;
  int32_t auxes;
  int32_t most_bits;  // of a sample; of the other members from 1
};

constexpr int32_t kManyChannels = 32767;
constexpr Member kMembers[] = {
    {"pnm", ".pnm", "PNM", "Portable anymap", Kind::automatic, 3, 0, 0, 16},
    {"pbm", ".pbm", "PBM", "Portable bitmap", Kind::pbm, 1, 0, 0, 1},
    {"pgm", ".pgm", "PGM", "Portable greymap", Kind::pgm, 1, 0, 0, 16},
    {"ppm", ".ppm", "PPM", "Portable pixmap", Kind::ppm, 3, 0, 0, 16},
    {"pam", ".pam", "PAM", "Portable arbitrary map", Kind::pam, kManyChannels, kManyChannels, kManyChannels,
     16},
    {"pfm", ".pfm", "PFM", "Portable float map", Kind::pfm, 3, 0, 0, 32},
};

constexpr const Member& member_named(std::string_view key) {
  size_t index = 0;
  while (kMembers[index].key != key) ++index;
  return kMembers[index];
}

// What a file, or one of its pictures, says of itself.
struct Header {
  Kind kind;
  bool is_plain;          // numbers in text
  bool is_little_endian;  // floats
  bool has_comments;
  int32_t width;
  int32_t height;
  int32_t colours;
  int32_t mattes;
  int32_t auxes;
  int32_t bits;  // of a sample, 1 to 16; floats: 32

  [[nodiscard]] uint64_t samples() const {
    return static_cast<uint64_t>(colours) + static_cast<uint64_t>(mattes) + static_cast<uint64_t>(auxes);
  }
  [[nodiscard]] bool is_bottom_up() const { return kind == Kind::pfm; }
  [[nodiscard]] Form form() const {
    if (kind == Kind::pfm) return Form::floats;
    if (kind == Kind::pbm) return Form::bits;
    return bits > 8 ? Form::shorts : Form::bytes;
  }
  // A row of a file that is not plain. At most 2^31 pixels of 2^18 bytes.
  [[nodiscard]] uint64_t row_bytes() const {
    const uint64_t pixels = static_cast<uint64_t>(width);
    switch (form()) {
      case Form::bits:
        return (pixels + 7) / 8;
      case Form::bytes:
        return pixels * samples();
      case Form::shorts:
        return pixels * samples() * 2;
      case Form::floats:
        break;
    }
    return pixels * samples() * 4;
  }
};

// How a description's groups are stored in a file of a kind. False when such a file cannot hold them, reported
// with the key, orb__err -16. Fills kind, groups and bits.
[[nodiscard]] bool choose_layout(const Member& member, Kind kind, const ORB_IFD& ifd, Header* out);

// The word of a PAM for the meaning of its planes. buffer_bytes: at least 64.
const char* tuple_type_of(const Header& header, char* buffer, size_t buffer_bytes);

// Divides depth planes among the groups as the tuple type says, or as their number does; those that it does not
// speak of are auxiliary.
enum class TypeTaken { yes, unknown, too_few_planes };
[[nodiscard]] TypeTaken take_tuple_type(std::string_view tuple_type, int32_t depth, Header* out);

}  // namespace orb::pnm
