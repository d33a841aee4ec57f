#include <stdlib.h>

#include "tests/support/environment.h"

void orb::testing::put_environment(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
}
