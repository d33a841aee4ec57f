// The entry points that the library calls in a module, the same for every format: a module defines kFormat and
// what it says of itself, and is linked with plugin_entries.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>

#include "orbbase/core.h"
#include "orbbase/registry.h"

namespace orb::plugin {

struct Format {
  // Opens a handle. False on failure: reported, with orb__err set; after a write nothing is left that was not
  // there before.
  bool (*read_open)(ORB_IMAGE& image);
  bool (*write_open)(ORB_IMAGE& image);
  // Whether the stream, or the file of that name when it is null, begins like one of the format.
  bool (*is_file)(const char* name, std::FILE* stream);
  // What an application may choose. The table lives as long as the module; the library completes it at
  // start-up.
  std::span<ORB_CAPABILITY> (*capabilities)();
};

extern const Format kFormat;

// The bits of a module's words on widths: of every width from least to most, 1 to 32.
constexpr int32_t widths(int least, int most) {
  uint32_t bits = 0;
  for (int width = least; width <= most; ++width) bits |= 1U << (width - 1);
  return static_cast<int32_t>(bits);
}

}  // namespace orb::plugin
