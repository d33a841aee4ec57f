// A verb's results: gathered, then put on standard output or into the file of -o, in one piece.
#pragma once

#include <cstdio>
#include <optional>
#include <string>

#include "options.h"
#include "target.h"

namespace orb::tool {

class Results {
 public:
  // Looks at the file of -o, so make this before the work. Throws Failure as Target does.
  explicit Results(const CommonOptions& options);
  std::string text;

  // Delivers the text. Throws Failure when that fails.
  void deliver();

 private:
  void into_file();

  bool is_dry_run_;
  std::optional<Target> target_;  // none: standard output
};

// Writes a text and flushes it; name is for messages. Throws Failure(kIoError), without a word when standard output's
// reader has left.
void write_text(const std::string& text, std::FILE* stream, const std::string& name);
// Puts a text on standard output at once, wherever -o points.
inline void show(const std::string& text) { write_text(text, stdout, "standard output"); }

}  // namespace orb::tool
