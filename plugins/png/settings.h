// What an application may choose of the PNG format: the capability table that the library shows it, and its
// settings list read back.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/core.h"
#include "orbbase/registry.h"
#include "plugins/common/palette.h"

namespace orb::png {

// Setting codes; also the capabilities' ident.
enum SettingCode : uint16_t { kPalette = 0, kCompression = 2, kFilter = 3 };

using plugin::Palette;
enum class Filter : int32_t { none = 0, sub = 1, up = 2, average = 3, paeth = 4, adaptive = 5 };

struct Settings {
  Palette palette = Palette::colours;
  int compression = 6;
  Filter filter = Filter::adaptive;
};

// Reads the handle's settings list. A code that this format does not know is reported as a WARNING and passed
// over; a known one with a value out of its range is refused: false, reported, orb__err -16.
[[nodiscard]] bool read_settings(const ORB_INFO& info, Settings* out);

// The table that the library shows: plugins/common/entries.h.
std::span<ORB_CAPABILITY> capabilities();

}  // namespace orb::png
