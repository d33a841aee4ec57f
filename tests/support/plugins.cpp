#include "tests/support/plugins.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "orbbase/core/internal.h"
#include "orbbase/platform/platform.h"
#include "tests/support/load_module.h"

namespace orb::testing {
namespace {

// ORB_init's enumerator carries no word of the caller's.
struct State {
  const std::vector<Module>* modules = nullptr;
  size_t next = 0;
} state;

int32_t next_module(void** module_out, const char** name_out) {
  if (state.next == state.modules->size()) return 0;
  const Module& module = (*state.modules)[state.next++];
  *module_out = module.handle();
  *name_out = module.name().c_str();
  return 1;
}

}  // namespace

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

Plugins::Plugins(std::initializer_list<std::string> names, Start when) {
  modules_.reserve(names.size());
  for (const std::string& name : names) modules_.emplace_back(name);
  if (when == Start::now) start();
}

int32_t Plugins::start() {
  state = {&modules_, 0};
  return ORB_init(nullptr, next_module);
}

Plugins::~Plugins() {
  ORB_multiframe_set(0, 0);
  ORB_exit();
}

std::string registered_keys() {
  std::string keys;
  for (const ListNode* node = registry().formats.head(); node; node = node->next) {
    if (!keys.empty()) keys += ' ';
    keys += static_cast<const FormatNode*>(node)->format.key;
  }
  return keys;
}

}  // namespace orb::testing
