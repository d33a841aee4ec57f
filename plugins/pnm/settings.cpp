#include "settings.h"

#include "orbbase/driver.h"
#include "plugins/common/memory.h"

namespace orb::pnm {
namespace {

// Setting codes; also the capabilities' ident.
enum SettingCode : uint16_t { kEncoding = 2, kKind = 3, kUnset = 65535 };

// The library writes into these tables (names from its catalogue, the number of entries).
struct State {
  ORB_CAP_ENTRY encoding_entries[3] = {{0, "raw", 0, nullptr}, {1, "plain", 0, nullptr}, {}};
  ORB_CAP_ENTRY kind_entries[7] = {{0, "auto", 0, nullptr},
                                   {1, "pbm", 0, nullptr},
                                   {2, "pgm", 0, nullptr},
                                   {3, "ppm", 0, nullptr},
                                   {4, "pam", 0, nullptr},
                                   {5, "pfm", 0, nullptr},
                                   {}};
  ORB_CAP_LIST encoding_list = {0, 2, encoding_entries};
  ORB_CAP_LIST kind_list = {0, 6, kind_entries};
  ORB_CAPABILITY table[2] = {{kEncoding, "encoding", 0, nullptr, 0, &encoding_list, 0},
                             {kKind, "kind", 0, nullptr, 0, &kind_list, 0}};
} state;

bool has_plain(Kind kind) { return kind != Kind::pam && kind != Kind::pfm; }

// How many of the table's settings a member has.
int32_t setting_count(const Member& member) {
  if (member.kind == Kind::automatic) return 2;
  return has_plain(member.kind) ? 1 : 0;
}

bool apply(const Member& member, const ORB_CAP_SETTING& setting, Settings& settings) {
  const int32_t value = setting.value.integer;
  const int32_t count = setting_count(member);
  if (setting.code == kEncoding && count > 0) {
    settings.is_plain = value == 1;
    return value == 0 || value == 1;
  }
  if (setting.code == kKind && count > 1) {
    settings.kind = static_cast<Kind>(value);
    return value >= 0 && value <= 5;
  }
  if (setting.code != kUnset) orb__report(ORB_MSG_CAPABILITY_CODE, static_cast<int32_t>(setting.code));
  return true;
}

}  // namespace

bool read_settings(const Member& member, const ORB_INFO& info, Settings* out) {
  out->kind = member.kind;
  bool is_right = true;
  for (ORB_CAP_SETTING* const* setting = info.settings; setting && *setting; ++setting) {
    is_right = apply(member, **setting, *out) && is_right;
  }
  if (is_right && (!out->is_plain || has_plain(out->kind))) return true;
  orb__report(ORB_MSG_CANNOT_HANDLE, member.key.data());
  plugin::fail(ORB_E_HANDLE);
  return false;
}

void capabilities(const Member& member, ORB_CAPABILITY** table_out, int32_t* count_out) {
  *count_out = setting_count(member);
  *table_out = *count_out > 0 ? state.table : nullptr;
}

}  // namespace orb::pnm
