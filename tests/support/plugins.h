// The library started with test modules, for the length of a block.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "orbbase/core.h"

namespace orb::testing {

// A plug-in module from the folder of test modules, loaded as an application does it.
class Module {
 public:
  // name: the module's file name without folder and ending. Ends the test program when it cannot be loaded.
  explicit Module(const std::string& name);
  ~Module();
  Module(Module&& other) noexcept;
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  [[nodiscard]] void* handle() const { return handle_; }
  [[nodiscard]] const std::string& name() const { return name_; }
  // A variable that the module exports.
  template <class T>
  [[nodiscard]] T& variable(const char* symbol) const {
    return *static_cast<T*>(address(symbol));
  }

 private:
  [[nodiscard]] void* address(const char* symbol) const;

  std::string name_;
  void* handle_ = nullptr;
};

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
