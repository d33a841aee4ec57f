#include <stdlib.h>

#include "tests/support/environment.h"

void orb::testing::put_environment(const std::string& name, const std::optional<std::string>& value) {
  _putenv_s(name.c_str(), value.value_or("").c_str());
}
