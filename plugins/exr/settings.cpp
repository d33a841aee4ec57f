#include "settings.h"

#include "codec.h"
#include "plugins/common/settings.h"

namespace orb::exr {
namespace {

// Setting codes; also the capabilities' ident.
enum SettingCode : uint16_t { kCompression = 2, kSamples = 3 };

// The library writes into these tables.
struct State {
  plugin::Choices<10> compressions{3,       "none", "rle",  "zips", "zip", "piz",
                                   "pxr24", "b44",  "b44a", "dwaa", "dwab"};
  plugin::Choices<3> samples{0, "float", "half", "half-colours"};
  ORB_CAPABILITY table[2] = {plugin::choice(kCompression, "compression", compressions),
                             plugin::choice(kSamples, "samples", samples)};
} state;

constexpr plugin::Setting<Settings> kSettings[] = {
    {kCompression, plugin::take_between<&Settings::compression, 0, 9>},
    {kSamples, plugin::take_between<&Settings::samples, 0, 2>}};

}  // namespace

bool read_settings(const ORB_INFO& info, Settings* out) {
  return plugin::read_settings(kKey, info, kSettings, *out);
}

std::span<ORB_CAPABILITY> capabilities() { return state.table; }

const char* name_of(int32_t compression) {
  return compression >= 0 && compression < 10 ? state.compressions.entries[compression].name : "unknown";
}

}  // namespace orb::exr
