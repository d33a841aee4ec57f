// The frame-buffer database: named display devices with their resolution, aspect, gamma and primaries. For
// the library's own use; it starts by itself on the first query. Not safe from two threads at once.
#pragma once

#include <cstdint>

#include "orbbase/support/config/setting.h"

namespace orb::fb {

struct FrameBuffer {
  const char* name;
  int32_t reserved[2];  // 0; no keyword sets them
  int32_t resolution[2];
  float aspect;
  float red[3];  // chromaticities x, y, z
  float green[3];
  float blue[3];
  float white[3];
  float gamma;
  int32_t depth;  // 24; no keyword sets it
};

// Starts the database with the catalogue handle for its reports, or takes the walk of info back to the first
// entry. Returns 0, or -1 when memory ran out, reported.
[[nodiscard]] int32_t init(void* catalogue);

// Ends the database and releases the configuration file. Returns 0.
int32_t exit();

// The entry of this name, or null. info goes on behind the one that was found. Null finds nothing.
const FrameBuffer* find(const char* name);

// The next entry, or null at the end.
const FrameBuffer* info();

// The name of the default frame buffer; there need not be one of that name. Never null.
const char* default_name();

// The default and the entries, for ORB_setting: starts the database like a query.
int32_t listed_count();
bool list(int32_t index, config::ListedSetting* out);

// Ends the database and puts the default back to its built-in value.
void reset_for_test();

}  // namespace orb::fb

// Exists only to be linked; says so on standard error when it is called.
extern "C" void FB_symbols(void);
