// What an application may choose of the TIFF format: the capability table that the library shows it, and its
// settings list read back.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/core.h"
#include "orbbase/registry.h"
#include "plugins/common/palette.h"

namespace orb::tiff {

// Setting codes; also the capabilities' ident.
enum SettingCode : uint16_t {
  kPalette = 0,
  kCompression = 2,
  kLevel = 3,
  kPredictor = 4,
  kAlpha = 5,
  kRowOrder = 6,
  kContainer = 7,
  kPages = 8,
  kSense = 9
};

using plugin::Palette;
enum class Compression : int32_t { none = 0, packbits = 1, lzw = 2, deflate = 3, zstd = 4 };
enum class Predictor : int32_t { automatic = 0, none = 1 };
enum class Alpha : int32_t { as_named = 0, associated = 1, separate = 2 };
enum class RowOrder : int32_t { top_down = 0, as_described = 1 };
enum class Container : int32_t { automatic = 0, classic = 1, big = 2 };
enum class Pages : int32_t { all = 0, first = 1 };
enum class Sense : int32_t { right = 0, stored = 1 };

struct Settings {
  Palette palette = Palette::colours;
  Compression compression = Compression::deflate;
  int32_t level = 0;  // 0: the compression's own default
  Predictor predictor = Predictor::automatic;
  Alpha alpha = Alpha::as_named;
  RowOrder row_order = RowOrder::top_down;
  Container container = Container::automatic;
  Pages pages = Pages::all;
  Sense sense = Sense::right;
};

// Reads the handle's settings list. A code that this format does not know is reported as a WARNING and passed
// over; a known one with a value out of its range is refused: false, reported, orb__err -16.
[[nodiscard]] bool read_settings(const ORB_INFO& info, Settings* out);

// The table that the library shows: plugins/common/entries.h.
std::span<ORB_CAPABILITY> capabilities();

}  // namespace orb::tiff
