// What an application may choose of the GIF format: the capability table that the library shows it, and its
// settings list read back.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/core.h"
#include "orbbase/registry.h"
#include "plugins/common/palette.h"

namespace orb::gif {

constexpr const char* kKey = "gif";
constexpr const char* kExtension = ".gif";

// Setting codes; also the capabilities' ident. Files of many frames keep to 0, a whole number, and 1, a real
// one: others cannot be compared when a file that was kept open is asked for again.
enum SettingCode : uint16_t { kPalette = 0, kPlays = 1 };

using plugin::Palette;

struct Settings {
  Palette palette = Palette::colours;
  int32_t plays = 1;  // of an animation being written: how often it is shown; 0: for ever
};

// Reads the handle's settings list. A code that this format does not know is reported as a WARNING and passed
// over; a known one with a value out of its range is refused: false, reported, orb__err -16.
[[nodiscard]] bool read_settings(const ORB_INFO& info, Settings* out);

// The table that the library shows: plugins/common/entries.h.
std::span<ORB_CAPABILITY> capabilities();

}  // namespace orb::gif
