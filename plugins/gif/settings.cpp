#include "settings.h"

#include "plugins/common/settings.h"

namespace orb::gif {
namespace {

constexpr float kMostPlays = 65536.0F;  // a file tells the repetitions, in 16 bits

// The library writes into these tables.
struct State {
  plugin::Choices<2> palettes{0, "colours", "indices"};
  ORB_CAPABILITY table[2] = {plugin::choice(kPalette, "palette", palettes), plugin::value(kPlays, "plays")};
} state;

bool take_plays(Settings& settings, const ORB_CAP_SETTING& setting) {
  const float value = setting.value.real;
  if (!(value >= 0.0F && value <= kMostPlays)) return false;
  settings.plays = static_cast<int32_t>(value);
  return static_cast<float>(settings.plays) == value;
}

constexpr plugin::Setting<Settings> kSettings[] = {{kPalette, plugin::take_between<&Settings::palette, 0, 1>},
                                                   {kPlays, take_plays}};

}  // namespace

bool read_settings(const ORB_INFO& info, Settings* out) {
  return plugin::read_settings(kKey, info, kSettings, *out);
}

std::span<ORB_CAPABILITY> capabilities() { return state.table; }

}  // namespace orb::gif
