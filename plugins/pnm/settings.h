// What an application may choose of the formats: the capability tables that the library shows it, and its
// settings list read back.
#pragma once

#include <cstdint>
#include <span>

#include "kinds.h"
#include "orbbase/core.h"
#include "orbbase/registry.h"

namespace orb::pnm {

struct Settings {
  Kind kind;  // to be written
  bool is_plain = false;
};

// Reads the handle's settings list. A code that the format does not know is reported as a WARNING and passed
// over; a known one with a value out of its range is refused: false, reported, orb__err -16.
[[nodiscard]] bool read_settings(const Member& member, const ORB_INFO& info, Settings* out);

// The table that the library shows: plugins/common/entries.h.
std::span<ORB_CAPABILITY> capabilities(const Member& member);

}  // namespace orb::pnm
