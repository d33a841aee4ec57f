// How far a verb has come, in rows or frames, on standard error.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "options.h"

namespace orb::tool {

class Progress {
 public:
  Progress(const CommonOptions& options, int64_t total);
  ~Progress();  // takes the bar off the terminal
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Whole lines that are printed as they are, above a bar.
  void pass_on(std::string_view lines);

  // One more. Speaks when the percentage has changed, so at most 101 times.
  void step();

 private:
  enum class Kind { none, bar, plain, json };
  void show();
  void wipe();

  Kind kind_;
  int64_t total_;
  int64_t done_ = 0;
  int64_t shown_percent_ = -1;
  bool is_bar_standing_ = false;
};

}  // namespace orb::tool
