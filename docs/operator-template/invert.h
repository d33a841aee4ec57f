// The negative of an 8-bit image: a template for operators.
#pragma once

#include "orbbase/core.h"

// Puts the operator on a handle that is open for reading. 1 when it stands; 0 when the image is not of 8 bits, or
// memory ran out.
int32_t invert(ORB_IMAGE* image);

// 1 when it was on top, or when the handle has no private data; else 0.
int32_t invert_remove(ORB_IMAGE* image);
