#include "kinds.h"

#include <charconv>
#include <cstdio>

#include "orbbase/driver.h"
#include "plugins/common/memory.h"

namespace orb::pnm {
namespace {

bool refuse(const Member& member, int32_t message) {
  orb__report(message, member.key.data());
  plugin::fail(ORB_E_HANDLE);
  return false;
}

// ---- What a description needs ----

Kind simplest(const ORB_IFD& ifd) {
  if (ifd.color.count == 3) return Kind::ppm;
  return ifd.color.type == ORB_C_INTEGER && ifd.color.width == 1 ? Kind::pbm : Kind::pgm;
}

bool check_colours(const Member& member, Kind kind, const ORB_CHANNELS& color) {
  const bool takes_one = kind != Kind::ppm;
  const bool takes_three = kind == Kind::ppm || kind == Kind::pfm;
  if (!(takes_one && color.count == 1) && !(takes_three && color.count == 3)) {
    return refuse(member, ORB_MSG_CANNOT_HANDLE);
  }
  if (color.type != (kind == Kind::pfm ? ORB_C_FLOAT : ORB_C_INTEGER))
    return refuse(member, ORB_MSG_IMAGE_TYPE);
  const int32_t most_bits = kind == Kind::pbm ? 1 : 16;
  const bool has_width = kind == Kind::pfm || (color.width >= 1 && color.width <= most_bits);
  return has_width || refuse(member, ORB_MSG_IMAGE_WIDTH);
}

struct GroupRule {
  ORB_CHANNELS ORB_IFD::*group;
  int32_t bad_type;
  int32_t bad_width;
};
constexpr GroupRule kGroupRules[] = {
    {&ORB_IFD::color, ORB_MSG_IMAGE_TYPE, ORB_MSG_IMAGE_WIDTH},
    {&ORB_IFD::matte, ORB_MSG_MATTE_TYPE, ORB_MSG_MATTE_WIDTH},
    {&ORB_IFD::aux, ORB_MSG_AUX_TYPE, ORB_MSG_AUX_WIDTH},
};

// All planes of a PAM are of one width.
bool check_pam(const Member& member, const ORB_IFD& ifd, int32_t* bits_out) {
  *bits_out = 0;
  for (const GroupRule& rule : kGroupRules) {
    const ORB_CHANNELS& group = ifd.*rule.group;
    if (group.count < 0) return refuse(member, ORB_MSG_CANNOT_HANDLE);
    if (group.count == 0) continue;
    if (group.type != ORB_C_INTEGER) return refuse(member, rule.bad_type);
    const bool is_same = *bits_out == 0 || group.width == *bits_out;
    if (!is_same || group.width < 1 || group.width > 16) return refuse(member, rule.bad_width);
    *bits_out = group.width;
  }
  return *bits_out != 0 || refuse(member, ORB_MSG_CANNOT_HANDLE);
}

// ---- Tuple types ----

struct TupleType {
  std::string_view name;
  int32_t colours;
  int32_t mattes;
};
constexpr TupleType kTupleTypes[] = {
    {"GRAYSCALE", 1, 0}, {"GRAYSCALE_ALPHA", 1, 1}, {"RGB", 3, 0},           {"RGB_ALPHA", 3, 1},
    {"CMYK", 4, 0},      {"CMYK_ALPHA", 4, 1},      {"BLACKANDWHITE", 1, 0}, {"BLACKANDWHITE_ALPHA", 1, 1},
};
constexpr TupleType kWithoutType[] = {{"", 1, 0}, {"", 1, 0}, {"", 3, 0}};  // by planes: 1, 2, more

// For what has no word of its own: how many planes of which group.
constexpr std::string_view kGroupWords[] = {"COLOR_", "_MATTE_", "_AUX_"};

bool take_groups(std::string_view text, int32_t depth, Header* out) {
  int32_t counts[3] = {};
  for (size_t i = 0; i < 3; ++i) {
    if (!text.starts_with(kGroupWords[i])) return false;
    text.remove_prefix(kGroupWords[i].size());
    const auto [rest, problem] = std::from_chars(text.data(), text.data() + text.size(), counts[i]);
    if (problem != std::errc() || counts[i] < 0) return false;
    text.remove_prefix(static_cast<size_t>(rest - text.data()));
  }
  if (!text.empty() || int64_t{counts[0]} + counts[1] + counts[2] != depth) return false;
  out->colours = counts[0];
  out->mattes = counts[1];
  out->auxes = counts[2];
  return true;
}

}  // namespace

bool choose_layout(const Member& member, Kind kind, const ORB_IFD& ifd, Header* out) {
  if (ifd.color.count == 0 && ifd.index.count > 0) return refuse(member, ORB_MSG_CANNOT_HANDLE);
  if (kind == Kind::automatic) kind = simplest(ifd);
  out->kind = kind;
  out->colours = ifd.color.count;
  out->mattes = ifd.matte.count;
  out->auxes = ifd.aux.count;
  if (kind == Kind::pam) return check_pam(member, ifd, &out->bits);
  if (ifd.matte.count != 0) return refuse(member, ORB_MSG_MATTE_TYPE);
  if (ifd.aux.count != 0) return refuse(member, ORB_MSG_AUX_TYPE);
  out->bits = kind == Kind::pfm ? 32 : ifd.color.width;
  return check_colours(member, kind, ifd.color);
}

const char* tuple_type_of(const Header& header, char* buffer, size_t buffer_bytes) {
  for (const TupleType& type : kTupleTypes) {
    const bool is_bilevel = type.name.starts_with("BLACK");
    if (type.colours == header.colours && type.mattes == header.mattes && header.auxes == 0 &&
        (is_bilevel ? header.bits == 1 : header.bits > 1 || header.colours > 1)) {
      return type.name.data();
    }
  }
  std::snprintf(buffer, buffer_bytes, "COLOR_%d_MATTE_%d_AUX_%d", header.colours, header.mattes,
                header.auxes);
  return buffer;
}

TypeTaken take_tuple_type(std::string_view tuple_type, int32_t depth, Header* out) {
  if (take_groups(tuple_type, depth, out)) return TypeTaken::yes;
  TupleType found = kWithoutType[depth > 3 ? 2 : depth - 1];
  for (const TupleType& type : kTupleTypes) {
    if (type.name == tuple_type) found = type;
  }
  if (found.colours + found.mattes > depth) return TypeTaken::too_few_planes;
  out->colours = found.colours;
  out->mattes = found.mattes;
  out->auxes = depth - found.colours - found.mattes;
  return found.name == tuple_type ? TypeTaken::yes : TypeTaken::unknown;
}

}  // namespace orb::pnm
