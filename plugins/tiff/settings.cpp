#include "settings.h"

#include "codec.h"
#include "plugins/common/settings.h"

namespace orb::tiff {
namespace {

// The library writes into these tables.
struct State {
  plugin::Choices<2> palettes{0, "colours", "indices"};
  plugin::Choices<5> compressions{3, "none", "packbits", "lzw", "deflate", "zstd"};
  plugin::Choices<2> predictors{0, "auto", "none"};
  plugin::Choices<3> alphas{0, "as-named", "associated", "separate"};
  plugin::Choices<2> rows{0, "top-down", "as-described"};
  plugin::Choices<3> containers{0, "auto", "classic", "big"};
  plugin::Choices<2> pages{0, "all", "first"};
  plugin::Choices<2> senses{0, "right", "stored"};
  ORB_CAPABILITY table[9] = {plugin::choice(kPalette, "palette", palettes),
                             plugin::choice(kCompression, "compression", compressions),
                             plugin::value(kLevel, "level"),
                             plugin::choice(kPredictor, "predictor", predictors),
                             plugin::choice(kAlpha, "alpha", alphas),
                             plugin::choice(kRowOrder, "rows", rows),
                             plugin::choice(kContainer, "container", containers),
                             plugin::choice(kPages, "pages", pages),
                             plugin::choice(kSense, "sense", senses)};
} state;

constexpr plugin::Setting<Settings> kSettings[] = {
    {kPalette, plugin::take_between<&Settings::palette, 0, 1>},
    {kCompression, plugin::take_between<&Settings::compression, 0, 4>},
    {kLevel, plugin::take_between<&Settings::level, 0, 22>},
    {kPredictor, plugin::take_between<&Settings::predictor, 0, 1>},
    {kAlpha, plugin::take_between<&Settings::alpha, 0, 2>},
    {kRowOrder, plugin::take_between<&Settings::row_order, 0, 1>},
    {kContainer, plugin::take_between<&Settings::container, 0, 2>},
    {kPages, plugin::take_between<&Settings::pages, 0, 1>},
    {kSense, plugin::take_between<&Settings::sense, 0, 1>}};

// Of all compressions deflate and zstd have levels, and deflate's end at 9.
bool has_level(const Settings& settings) {
  if (settings.level == 0 || settings.compression == Compression::zstd) return true;
  return settings.compression == Compression::deflate && settings.level <= 9;
}

}  // namespace

bool read_settings(const ORB_INFO& info, Settings* out) {
  if (!plugin::read_settings(kKey, info, kSettings, *out)) return false;
  return has_level(*out) || plugin::refuse(ORB_MSG_CANNOT_HANDLE, kKey);
}

std::span<ORB_CAPABILITY> capabilities() { return state.table; }

}  // namespace orb::tiff
