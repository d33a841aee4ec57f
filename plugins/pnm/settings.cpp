#include "settings.h"

#include "plugins/common/settings.h"

namespace orb::pnm {
namespace {

// Setting codes; also the capabilities' ident.
enum SettingCode : uint16_t { kEncoding = 2, kKind = 3 };

// The library writes into these tables.
struct State {
  plugin::Choices<2> encodings{0, "raw", "plain"};
  plugin::Choices<6> kinds{0, "auto", "pbm", "pgm", "ppm", "pam", "pfm"};
  ORB_CAPABILITY table[2] = {plugin::choice(kEncoding, "encoding", encodings),
                             plugin::choice(kKind, "kind", kinds)};
} state;

constexpr plugin::Setting<Settings> kSettings[] = {
    {kEncoding, plugin::take_between<&Settings::is_plain, 0, 1>},
    {kKind, plugin::take_between<&Settings::kind, 0, 5>}};

bool has_plain(Kind kind) { return kind != Kind::pam && kind != Kind::pfm; }

// How many of the tables' settings a member has.
size_t setting_count(const Member& member) {
  if (member.kind == Kind::automatic) return 2;
  return has_plain(member.kind) ? 1 : 0;
}

}  // namespace

bool read_settings(const Member& member, const ORB_INFO& info, Settings* out) {
  out->kind = member.kind;
  const auto known = std::span(kSettings).first(setting_count(member));
  if (!plugin::read_settings(member.key.data(), info, known, *out)) return false;
  return !out->is_plain || has_plain(out->kind) || plugin::refuse(ORB_MSG_CANNOT_HANDLE, member.key.data());
}

std::span<ORB_CAPABILITY> capabilities(const Member& member) {
  const size_t count = setting_count(member);
  return count > 0 ? std::span(state.table, count) : std::span<ORB_CAPABILITY>();
}

}  // namespace orb::pnm
