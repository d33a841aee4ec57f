#include "settings.h"

#include "orbbase/driver.h"
#include "plugins/common/memory.h"

namespace orb::gif {
namespace {

constexpr uint16_t kUnset = 65535;      // the code of a setting that nobody filled in
constexpr float kMostPlays = 65536.0F;  // a file tells the repetitions, in 16 bits

// The library writes into these tables (names from its catalogue, the number of entries).
struct State {
  ORB_CAP_ENTRY palette_entries[3] = {{0, "colours", 0, nullptr}, {1, "indices", 0, nullptr}, {}};
  ORB_CAP_LIST palette_list = {0, 2, palette_entries};
  ORB_CAPABILITY table[2] = {{kPalette, "palette", 0, nullptr, 0, &palette_list, 0},
                             {kPlays, "plays", 0, nullptr, 1, nullptr, 0}};
} state;

bool apply(const ORB_CAP_SETTING& setting, Settings& settings) {
  if (setting.code == kPalette) {
    settings.palette = static_cast<Palette>(setting.value.integer);
    return setting.value.integer == 0 || setting.value.integer == 1;
  }
  if (setting.code == kPlays) {
    const float value = setting.value.real;
    if (!(value >= 0.0F && value <= kMostPlays)) return false;
    settings.plays = static_cast<int32_t>(value);
    return static_cast<float>(settings.plays) == value;
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

}  // namespace orb::gif
