#include "settings.h"

#include <tiffio.h>

#include <type_traits>

#include "codec.h"
#include "orbbase/driver.h"

namespace orb::tiff {
namespace {

constexpr uint16_t kUnset = 65535;  // the code of a setting that nobody filled in
constexpr int32_t kCapabilityCount = 9;

// The library writes into these tables (names from its catalogue, the number of entries).
struct State {
  ORB_CAP_ENTRY palette[3] = {{0, "colours", 0, nullptr}, {1, "indices", 0, nullptr}, {}};
  ORB_CAP_ENTRY compression[6] = {{0, "none", 0, nullptr}, {1, "packbits", 0, nullptr},
                                  {2, "lzw", 0, nullptr},  {3, "deflate", 0, nullptr},
                                  {4, "zstd", 0, nullptr}, {}};
  ORB_CAP_ENTRY predictor[3] = {{0, "auto", 0, nullptr}, {1, "none", 0, nullptr}, {}};
  ORB_CAP_ENTRY alpha[4] = {
      {0, "as-named", 0, nullptr}, {1, "associated", 0, nullptr}, {2, "separate", 0, nullptr}, {}};
  ORB_CAP_ENTRY rows[3] = {{0, "top-down", 0, nullptr}, {1, "as-described", 0, nullptr}, {}};
  ORB_CAP_ENTRY container[4] = {
      {0, "auto", 0, nullptr}, {1, "classic", 0, nullptr}, {2, "big", 0, nullptr}, {}};
  ORB_CAP_ENTRY pages[3] = {{0, "all", 0, nullptr}, {1, "first", 0, nullptr}, {}};
  ORB_CAP_ENTRY sense[3] = {{0, "right", 0, nullptr}, {1, "stored", 0, nullptr}, {}};
  ORB_CAP_LIST palette_list = {0, 2, palette};
  ORB_CAP_LIST compression_list = {3, 5, compression};
  ORB_CAP_LIST predictor_list = {0, 2, predictor};
  ORB_CAP_LIST alpha_list = {0, 3, alpha};
  ORB_CAP_LIST rows_list = {0, 2, rows};
  ORB_CAP_LIST container_list = {0, 3, container};
  ORB_CAP_LIST pages_list = {0, 2, pages};
  ORB_CAP_LIST sense_list = {0, 2, sense};
  ORB_CAPABILITY table[kCapabilityCount] = {
      {kPalette, "palette", 0, nullptr, 0, &palette_list, 0},
      {kCompression, "compression", 0, nullptr, 0, &compression_list, 0},
      {kLevel, "level", 0, nullptr, 1, nullptr, 0},
      {kPredictor, "predictor", 0, nullptr, 0, &predictor_list, 0},
      {kAlpha, "alpha", 0, nullptr, 0, &alpha_list, 0},
      {kRowOrder, "rows", 0, nullptr, 0, &rows_list, 0},
      {kContainer, "container", 0, nullptr, 0, &container_list, 0},
      {kPages, "pages", 0, nullptr, 0, &pages_list, 0},
      {kSense, "sense", 0, nullptr, 0, &sense_list, 0}};
} state;

template <auto Member>
void store(Settings& settings, int32_t value) {
  settings.*Member = static_cast<std::remove_reference_t<decltype(settings.*Member)>>(value);
}

struct Range {
  uint16_t code;
  int32_t most;  // from 0
  void (*store)(Settings&, int32_t);
};
constexpr Range kRanges[] = {
    {kPalette, 1, store<&Settings::palette>},     {kCompression, 4, store<&Settings::compression>},
    {kLevel, 22, store<&Settings::level>},        {kPredictor, 1, store<&Settings::predictor>},
    {kAlpha, 2, store<&Settings::alpha>},         {kRowOrder, 1, store<&Settings::row_order>},
    {kContainer, 2, store<&Settings::container>}, {kPages, 1, store<&Settings::pages>},
    {kSense, 1, store<&Settings::sense>},
};

bool refuse() {
  orb__report(ORB_MSG_CANNOT_HANDLE, kKey);
  fail(ORB_E_HANDLE);
  return false;
}

bool apply(const ORB_CAP_SETTING& setting, Settings& settings) {
  for (const Range& range : kRanges) {
    if (setting.code != range.code) continue;
    const int32_t value = setting.value.integer;
    if (value < 0 || value > range.most) return refuse();
    range.store(settings, value);
    return true;
  }
  if (setting.code != kUnset) orb__report(ORB_MSG_CAPABILITY_CODE, static_cast<int>(setting.code));
  return true;
}

// Of all compressions deflate and zstd have levels, and deflate's end at 9.
bool has_level(const Settings& settings) {
  if (settings.level == 0 || settings.compression == Compression::zstd) return true;
  return settings.compression == Compression::deflate && settings.level <= 9;
}

}  // namespace

bool read_settings(const ORB_INFO& info, Settings* out) {
  for (ORB_CAP_SETTING* const* setting = info.settings; setting && *setting; ++setting) {
    if (!apply(**setting, *out)) return false;
  }
  return has_level(*out) || refuse();
}

void capabilities(ORB_CAPABILITY** table_out, int32_t* count_a_out, int32_t* count_b_out,
                  int32_t* count_out) {
  *table_out = state.table;
  *count_a_out = kCapabilityCount;
  *count_b_out = kCapabilityCount;
  *count_out = kCapabilityCount;
}

}  // namespace orb::tiff
