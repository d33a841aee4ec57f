#include "tests/support/module.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "orbbase/platform/platform.h"
#include "tests/support/load_module.h"

namespace orb::testing {

Module::Module(const std::string& name) : name_(name) {
  const std::string path = std::string(ORB_TEST_MODULES) + "/" + name + ".module";
  std::string why;
  handle_ = load_module(path.c_str(), &why);
  if (handle_) return;
  std::fprintf(stderr, "cannot load %s: %s\n", path.c_str(), why.c_str());
  std::abort();
}

Module::Module(Module&& other) noexcept
    : name_(std::move(other.name_)), handle_(std::exchange(other.handle_, nullptr)) {}

Module::~Module() {
  if (handle_) unload_module(handle_);
}

void* Module::address(const char* symbol) const {
  void* found = platform::module_symbol(handle_, symbol);
  if (!found) std::abort();
  return found;
}

}  // namespace orb::testing
