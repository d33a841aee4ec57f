#include "settings.h"

#include "codec.h"
#include "plugins/common/settings.h"

namespace orb::jpeg {
namespace {

// Setting codes; also the capabilities' ident.
enum SettingCode : uint16_t { kQuality = 2, kSubsampling = 3 };

// The library writes into these tables.
struct State {
  plugin::Choices<3> subsamplings{0, "4:4:4", "4:2:2", "4:2:0"};
  ORB_CAPABILITY table[2] = {plugin::value(kQuality, "quality"),
                             plugin::choice(kSubsampling, "subsampling", subsamplings)};
} state;

bool take_quality(Settings& settings, const ORB_CAP_SETTING& setting) {
  settings.has_quality = true;
  return plugin::take_between<&Settings::quality, 1, 100>(settings, setting);
}

constexpr plugin::Setting<Settings> kSettings[] = {
    {kQuality, take_quality}, {kSubsampling, plugin::take_between<&Settings::subsampling, 0, 2>}};

}  // namespace

bool read_settings(const ORB_INFO& info, Settings* out) {
  return plugin::read_settings(kKey, info, kSettings, *out);
}

std::span<ORB_CAPABILITY> capabilities() { return state.table; }

}  // namespace orb::jpeg
