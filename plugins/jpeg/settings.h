// What an application may choose of the JPEG format: the capability table that the library shows it, and its
// settings list read back.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/core.h"
#include "orbbase/registry.h"

namespace orb::jpeg {

enum class Subsampling : int32_t { none = 0, across = 1, both = 2 };

struct Settings {
  int quality = 90;
  bool has_quality = false;  // chosen by the application, who so asks for samples that are changed
  Subsampling subsampling = Subsampling::none;
};

// Reads the handle's settings list. A code that this format does not know is reported as a WARNING and passed
// over; a known one with a value out of its range is refused: false, reported, orb__err -16.
[[nodiscard]] bool read_settings(const ORB_INFO& info, Settings* out);

// The table that the library shows: plugins/common/entries.h.
std::span<ORB_CAPABILITY> capabilities();

}  // namespace orb::jpeg
