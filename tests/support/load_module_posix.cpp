#include <dlfcn.h>

#include "tests/support/load_module.h"

namespace orb::testing {

void* load_module(const char* path, std::string* why_out) {
  void* module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!module) *why_out = dlerror();
  return module;
}

void unload_module(void* module) { dlclose(module); }

}  // namespace orb::testing
