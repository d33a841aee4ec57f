// Loads modules for tests; one source a system.
#pragma once

#include <string>

namespace orb::testing {

// The module's handle; null, with the reason in *why_out, when it cannot be loaded.
void* load_module(const char* path, std::string* why_out);
void unload_module(void* module);

}  // namespace orb::testing
