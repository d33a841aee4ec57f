#include "settings.h"

#include "codec.h"
#include "plugins/common/settings.h"

namespace orb::png {
namespace {

// The library writes into these tables.
struct State {
  plugin::Choices<2> palettes{0, "colours", "indices"};
  plugin::Choices<6> filters{5, "none", "sub", "up", "average", "paeth", "adaptive"};
  ORB_CAPABILITY table[3] = {plugin::choice(kPalette, "palette", palettes),
                             plugin::value(kCompression, "compression"),
                             plugin::choice(kFilter, "filter", filters)};
} state;

constexpr plugin::Setting<Settings> kSettings[] = {
    {kPalette, plugin::take_between<&Settings::palette, 0, 1>},
    {kCompression, plugin::take_between<&Settings::compression, 0, 9>},
    {kFilter, plugin::take_between<&Settings::filter, 0, 5>}};

}  // namespace

bool read_settings(const ORB_INFO& info, Settings* out) {
  return plugin::read_settings(kKey, info, kSettings, *out);
}

std::span<ORB_CAPABILITY> capabilities() { return state.table; }

}  // namespace orb::png
