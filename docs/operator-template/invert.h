// The negative of an 8-bit image: a template for operators.
#pragma once

#include "orbbase/core.h"

// Installs the operator on a handle open for reading, as the calls of orbbase/operators.h do.
ORB_IMAGE* invert(ORB_IMAGE* image);

// 1 when it was on top, or when the handle has no private data; else 0.
int32_t invert_remove(ORB_IMAGE* image);
