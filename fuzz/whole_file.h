// Reading whatever a file holds, as an application does that looks at everything, and the modules of formats.
#pragma once

#include <cstdint>

#include "orbbase/core.h"

namespace orb::fuzz {

// Starts the library with the modules of these paths, "KEY=PATH" separated by ":", once. Limits stay at what the
// library sets.
void start_with_modules(const char* modules);

// Touches every sample of the rows that an image gave, in the layout of its description.
void look_at(const ORB_IFD& ifd, void** rows);

// A row of image `index`, looked at. Returns the call's code.
int32_t read_line(ORB_IMAGE* image, int32_t index, int64_t line);

// Every image, frame and the palette of an open file, for as long as that is worth it: nobody reads on where row
// after row fails, nor goes through gigabytes of zeros that a few bytes of a good compression stand for.
void read_everything(ORB_IMAGE* image);

// Opens the very path, by the driver of a key.
ORB_IMAGE* open_to_read(const char* path, const char* key);

}  // namespace orb::fuzz
