// A description with every field set, and the check that it came back.
#pragma once

#include "tests/core/picture.h"

namespace orb::testing {

// Writes a one-image picture of colour indices under a description that uses every field: texts, numbers,
// names, a tabulated curve and a lookup table. Returns the first code that is not 0.
int32_t write_with_whole_description(const Picture& picture);

// Reads it back and expects all of it.
void expect_whole_description(const Picture& picture);

}  // namespace orb::testing
