// A verb's results: gathered, then put on standard output or into the file of -o, in one piece.
#pragma once

#include <string>

#include "options.h"

namespace orb::tool {

class Results {
 public:
  explicit Results(const CommonOptions& options) : options_(options) {}
  std::string text;

  // Delivers the text. Throws Failure(kIoError) when that fails.
  void deliver() const;

 private:
  void into_file() const;

  const CommonOptions& options_;
};

}  // namespace orb::tool
