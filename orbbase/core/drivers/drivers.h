// The built-in drivers, as the registry lists them.
#pragma once

#include <cstdio>

#include "orbbase/core.h"

namespace orb {

// "mem": images that live in the process.
int32_t mem_read_open(ORB_IMAGE* image);
int32_t mem_write_open(ORB_IMAGE* image);
uint8_t mem_is_file(const char* name, std::FILE* stream);

// "pipe": one image as a sequential stream.
int32_t pipe_read_open(ORB_IMAGE* image);
int32_t pipe_write_open(ORB_IMAGE* image);
uint8_t pipe_is_file(const char* name, std::FILE* stream);

}  // namespace orb
