#include "tests/support/environment.h"

#include <cstdlib>

namespace orb::testing {

Environment::Environment(const char* name, const char* value) {
  change(name, value ? std::optional<std::string>(value) : std::nullopt);
}

Environment::~Environment() {
  for (const auto& [name, value] : before_) put_environment(name, value);
}

void Environment::set(const std::string& name, const std::string& value) { change(name, value); }
void Environment::unset(const std::string& name) { change(name, std::nullopt); }

void Environment::change(const std::string& name, const std::optional<std::string>& value) {
  const char* const before = std::getenv(name.c_str());
  before_.emplace(name, before ? std::optional<std::string>(before) : std::nullopt);
  put_environment(name, value);
}

}  // namespace orb::testing
