// Everything that the tool says beside its results: its own messages and the library's reports, as
// "orb: error: ..." lines on standard error.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "options.h"

namespace orb::tool {

// Takes the library's reports from here on and sets which categories are shown: -q errors, else warnings too,
// -v information, -vv debug.
void start_reports(const CommonOptions& options);

// One message of the tool's own; category is ERR_DEBUG to ERR_ERROR.
void say(int category, const std::string& text);

// Whether messages of a category are shown at all.
[[nodiscard]] bool is_shown(int category);

// Called before a line is printed while a progress bar stands on the terminal's last line.
void before_each_message(std::function<void()> wipe);

// The text of the latest error, "" when there was none since the last call of forget_errors.
[[nodiscard]] const std::string& last_error_text();
void forget_errors();
// Takes a text for the latest error, without a word: it was shown elsewhere.
void note_error(const std::string& text);

// What messages call a file: the target rather than the temporary beside it.
[[nodiscard]] std::string shown_name(const std::string& path);

// Whether something that failed with the system's error number may work later.
[[nodiscard]] bool is_worth_retry(int error_number);

// The library's word for it, whatever code it comes with.
inline constexpr const char* kNoMemoryText = "No more internal memory";

// What an error that the library has just given means for the exit status: orb__err or the text tells of
// memory, the text of a limit (trying again does not help) or of something that is busy.
[[nodiscard]] int exit_code_of_last_error();

// Ends a verb, or what it did with one file, after a call of the library that failed: throws Failure with
// that status and no text. text is said if the library has said nothing.
[[noreturn]] void fail_as_reported(const std::string& text);

// While it lives, reports below a category are not shown.
class Muted {
 public:
  explicit Muted(int below);
  ~Muted();
  Muted(const Muted&) = delete;
  Muted& operator=(const Muted&) = delete;

 private:
  int previous_;
};

// While it lives, messages that name neither of two files begin with the first: where several are worked on, a
// message about a row says nothing without it.
class About {
 public:
  About(const std::string& file, const std::string& other);
  ~About();
  About(const About&) = delete;
  About& operator=(const About&) = delete;

 private:
  std::string previous_file_;
  std::string previous_other_;
};

// While it lives, nothing is shown; the latest error is noted all the same.
class Unshown {
 public:
  Unshown();
  ~Unshown();
  Unshown(const Unshown&) = delete;
  Unshown& operator=(const Unshown&) = delete;

 private:
  int previous_;
};

// While it lives, messages that name one file name another: the target, not the temporary beside it. A message
// about a limit, which names none, begins with it.
class ShownAs {
 public:
  ShownAs(const std::string& path, const std::string& shown);
  ~ShownAs();
  ShownAs(const ShownAs&) = delete;
  ShownAs& operator=(const ShownAs&) = delete;

 private:
  std::string previous_path_;
  std::string previous_shown_;
};

}  // namespace orb::tool
