// Loads a plug-in module from the folder of test modules, as an application does.
#pragma once

#include <string>

namespace orb::testing {

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

}  // namespace orb::testing
