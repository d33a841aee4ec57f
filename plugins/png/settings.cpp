#include "settings.h"

#include "codec.h"
#include "orbbase/driver.h"

namespace orb::png {
namespace {

constexpr uint16_t kUnset = 65535;  // the code of a setting that nobody filled in
constexpr int32_t kCapabilityCount = 3;

// The library writes into these tables (names from its catalogue, the number of entries).
struct State {
  ORB_CAP_ENTRY palette_entries[3] = {{0, "colours", 0, nullptr}, {1, "indices", 0, nullptr}, {}};
  ORB_CAP_ENTRY filter_entries[7] = {{0, "none", 0, nullptr},
                                     {1, "sub", 0, nullptr},
                                     {2, "up", 0, nullptr},
                                     {3, "average", 0, nullptr},
                                     {4, "paeth", 0, nullptr},
                                     {5, "adaptive", 0, nullptr},
                                     {}};
  ORB_CAP_LIST palette_list = {0, 2, palette_entries};
  ORB_CAP_LIST filter_list = {5, 6, filter_entries};
  ORB_CAPABILITY table[kCapabilityCount] = {{kPalette, "palette", 0, nullptr, 0, &palette_list, 0},
                                            {kCompression, "compression", 0, nullptr, 1, nullptr, 0},
                                            {kFilter, "filter", 0, nullptr, 0, &filter_list, 0}};
} state;

struct Range {
  uint16_t code;
  int32_t least;
  int32_t most;
  void (*store)(Settings&, int32_t);
};
constexpr Range kRanges[] = {
    {kPalette, 0, 1, [](Settings& s, int32_t value) { s.palette = static_cast<Palette>(value); }},
    {kCompression, 0, 9, [](Settings& s, int32_t value) { s.compression = value; }},
    {kFilter, 0, 5, [](Settings& s, int32_t value) { s.filter = static_cast<Filter>(value); }},
};

bool apply(const ORB_CAP_SETTING& setting, Settings& settings) {
  for (const Range& range : kRanges) {
    if (setting.code != range.code) continue;
    const int32_t value = setting.value.integer;
    if (value < range.least || value > range.most) {
      orb__report(ORB_MSG_CANNOT_HANDLE, kKey);
      set_error(ORB_E_HANDLE);
      return false;
    }
    range.store(settings, value);
    return true;
  }
  if (setting.code != kUnset) orb__report(ORB_MSG_CAPABILITY_CODE, static_cast<int>(setting.code));
  return true;
}

}  // namespace

bool read_settings(const ORB_INFO& info, Settings* out) {
  for (ORB_CAP_SETTING* const* setting = info.settings; setting && *setting; ++setting) {
    if (!apply(**setting, *out)) return false;
  }
  return true;
}

void capabilities(ORB_CAPABILITY** table_out, int32_t* count_a_out, int32_t* count_b_out,
                  int32_t* count_out) {
  *table_out = state.table;
  *count_a_out = kCapabilityCount;
  *count_b_out = kCapabilityCount;
  *count_out = kCapabilityCount;
}

}  // namespace orb::png
