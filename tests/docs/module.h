// The library started with one plug-in module, for the length of a test.
#pragma once

#include <dlfcn.h>

#include <cstdlib>
#include <utility>

#include "orbbase/registry.h"

namespace orb::testing {

class LoadedModule {
 public:
  // Ends the test program when the module cannot be loaded. It stays loaded: a leak checker wants its names.
  explicit LoadedModule(const char* path) {
    next_ = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!next_ || ORB_init(nullptr, give) != 0 || !ORB_info()) std::abort();
  }
  ~LoadedModule() { ORB_exit(); }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

 private:
  static int32_t give(void** module_out, const char** name_out) {
    if (!next_) return 0;
    *module_out = std::exchange(next_, nullptr);
    *name_out = "the module";
    return 1;
  }

  static inline void* next_ = nullptr;  // ORB_init's enumerator carries no word of the caller's
};

}  // namespace orb::testing
