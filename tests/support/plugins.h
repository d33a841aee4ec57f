// The library started with test modules, for the length of a block.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "orbbase/core.h"
#include "tests/support/module.h"

namespace orb::testing {

// Loads the modules and starts the library with them, in this order; at the end closes idle files, ends the
// library and unloads the modules. One at a time.
class Plugins {
 public:
  enum class Start { now, later };
  explicit Plugins(std::initializer_list<std::string> names, Start start = Start::now);
  ~Plugins();
  Plugins(const Plugins&) = delete;
  Plugins& operator=(const Plugins&) = delete;

  // ORB_init with the modules; its result.
  int32_t start();

  [[nodiscard]] const Module& operator[](size_t index) const { return modules_[index]; }

 private:
  std::vector<Module> modules_;
};

// The keys of all registered formats, in order, with a space between them.
std::string registered_keys();

}  // namespace orb::testing
