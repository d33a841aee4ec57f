// Environment variables, set for the length of a block.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace orb::testing {

// Sets variables, and puts back at its end what they were.
class Environment {
 public:
  Environment() = default;
  // value: null unsets the variable.
  Environment(const char* name, const char* value);
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  void set(const std::string& name, const std::string& value);
  void unset(const std::string& name);

 private:
  void change(const std::string& name, const std::optional<std::string>& value);

  std::map<std::string, std::optional<std::string>> before_;
};

// The system's own call; the build picks the file with it. Where the system cannot hold an empty value it unsets
// the variable.
void put_environment(const std::string& name, const std::optional<std::string>& value);

}  // namespace orb::testing
