// What an application may choose of the OpenEXR format: the capability table that the library shows it, and its
// settings list read back.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/core.h"
#include "orbbase/registry.h"

namespace orb::exr {

// The numbers are the format's own.
enum class Compression : int32_t {
  none = 0,
  rle = 1,
  zips = 2,
  zip = 3,
  piz = 4,
  pxr24 = 5,
  b44 = 6,
  b44a = 7,
  dwaa = 8,
  dwab = 9
};
enum class Samples : int32_t { floats = 0, halves = 1, half_colours = 2 };

struct Settings {
  Compression compression = Compression::zip;
  Samples samples = Samples::floats;
};

// Reads the handle's settings list. A code that this format does not know is reported as a WARNING and passed
// over; a known one with a value out of its range is refused: false, reported, orb__err -16.
[[nodiscard]] bool read_settings(const ORB_INFO& info, Settings* out);

// The table lives as long as the module; the library completes it at start-up.
std::span<ORB_CAPABILITY> capabilities();

// The word for a compression; "unknown" for a number that has none.
const char* name_of(int32_t compression);

}  // namespace orb::exr
