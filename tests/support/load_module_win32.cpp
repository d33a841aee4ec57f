#include <windows.h>

#include "tests/support/load_module.h"

namespace orb::testing {

void* load_module(const char* path, std::string* why_out) {
  HMODULE module = LoadLibraryA(path);
  if (!module) *why_out = "error " + std::to_string(GetLastError());
  return module;
}

void unload_module(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }

}  // namespace orb::testing
