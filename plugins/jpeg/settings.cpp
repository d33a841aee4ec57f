#include "settings.h"

#include "codec.h"

namespace orb::jpeg {
namespace {

// Setting codes; also the capabilities' ident.
enum SettingCode : uint16_t { kQuality = 2, kSubsampling = 3, kUnset = 65535 };

// The library writes into these tables (names from its catalogue, the number of entries).
struct State {
  ORB_CAP_ENTRY subsampling_entries[4] = {
      {0, "4:4:4", 0, nullptr}, {1, "4:2:2", 0, nullptr}, {2, "4:2:0", 0, nullptr}, {}};
  ORB_CAP_LIST subsampling_list = {0, 3, subsampling_entries};
  ORB_CAPABILITY table[2] = {{kQuality, "quality", 0, nullptr, 1, nullptr, 0},
                             {kSubsampling, "subsampling", 0, nullptr, 0, &subsampling_list, 0}};
} state;

bool apply(const ORB_CAP_SETTING& setting, Settings& settings) {
  const int32_t value = setting.value.integer;
  if (setting.code == kQuality) {
    settings.quality = value;
    settings.has_quality = true;
    return value >= 1 && value <= 100;
  }
  if (setting.code == kSubsampling) {
    settings.subsampling = static_cast<Subsampling>(value);
    return value >= 0 && value <= 2;
  }
  if (setting.code != kUnset) orb__report(ORB_MSG_CAPABILITY_CODE, static_cast<int32_t>(setting.code));
  return true;
}

}  // namespace

bool read_settings(const ORB_INFO& info, Settings* out) {
  for (ORB_CAP_SETTING* const* setting = info.settings; setting && *setting; ++setting) {
    if (apply(**setting, *out)) continue;
    orb__report(ORB_MSG_CANNOT_HANDLE, kKey);
    plugin::fail(ORB_E_HANDLE);
    return false;
  }
  return true;
}

void capabilities(ORB_CAPABILITY** table_out, int32_t* count_out) {
  *table_out = state.table;
  *count_out = 2;
}

}  // namespace orb::jpeg
