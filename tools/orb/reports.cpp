// Everything that the tool says beside its results.
#include "reports.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "exit_codes.h"
#include "orbbase/support/err.h"
#include "printable.h"

namespace orb::tool {
namespace {

struct State {
  int least_shown = ERR_WARNING;  // chosen with -q, -v and -vv
  int muted_below = ERR_DEBUG;    // raised by Muted
  bool colors = false;
  std::string hidden_path;  // a path that messages do not show ...
  std::string shown_path;   // ... and what they show for it
  std::string file;         // that messages are about, when they do not say so ...
  std::string other_file;   // ... and do not name this one
  std::string last_error;   // text of the latest error
  std::function<void()> wipe;
} state;

struct Style {
  const char* label;
  const char* color;
};
constexpr Style kStyles[] = {{"debug", "\033[2m"},
                             {"note", "\033[36m"},
                             {"warning", "\033[33m"},
                             {"error", "\033[31m"},
                             {"fatal", "\033[1;31m"}};

bool wants_colors(const std::string& choice) {
  if (choice != "auto") return choice == "always";
  const char* no_color = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  return isatty(STDERR_FILENO) != 0 && (no_color == nullptr || *no_color == '\0') && terminal != nullptr &&
         std::strcmp(terminal, "dumb") != 0;
}

void replace_all(std::string& text, const std::string& from, const std::string& to) {
  if (from.empty()) return;
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

// The library names the call that raises a limit; who sits at the tool raises it with an option.
constexpr const char* kOverLimit = ": over the limit of ";
constexpr const char* kRaises[][2] = {{"ORB_limit(ORB_LIMIT_BUFFER, bytes)", "--limit buffer=SIZE"},
                                      {"ORB_limit(ORB_LIMIT_HANDLE, bytes)", "--limit handle=SIZE"},
                                      {"ORB_limit(ORB_LIMIT_IMAGES, count)", "--limit images=COUNT"},
                                      {"ORB_limit(ORB_LIMIT_CHANNELS, count)", "--limit channels=COUNT"},
                                      {"ORB_limit(ORB_LIMIT_PIXELS, count)", "--limit pixels=COUNT"}};

// The message in the words of the command line.
std::string for_the_user(std::string text) {
  replace_all(text, state.hidden_path, state.shown_path);
  if (text.find(kOverLimit) != std::string::npos) {
    for (const auto& raise : kRaises) replace_all(text, raise[0], raise[1]);
    // It names the call, not the file.
    if (!state.shown_path.empty() && !text.starts_with(state.shown_path))
      text = state.shown_path + ": " + text;
  }
  const auto names = [&text](const std::string& file) { return text.find(file) != std::string::npos; };
  if (!names(state.file) && !names(state.other_file)) text = state.file + ": " + text;
  return text;
}

// The library's way in. Nothing may be thrown across it.
int32_t take_report(const void*, uint8_t category, const char* message, ERR_RECORD*, void*) {
  try {
    say(category, message);
  } catch (...) {
    std::fputs("orb: error: out of memory\n", stderr);
  }
  return 0;
}

// Busy, or out of something that others may give back.
constexpr int kPassing[] = {EBUSY, EAGAIN, ETXTBSY, EMFILE, ENFILE, ENOMEM};

bool ends_with_error(const std::string& text, int error_number) {
  const std::string reason = std::strerror(error_number);
  return text.size() >= reason.size() &&
         text.compare(text.size() - reason.size(), reason.size(), reason) == 0;
}

}  // namespace

void start_reports(const CommonOptions& options) {
  state.least_shown = options.is_quiet         ? ERR_ERROR
                      : options.verbosity >= 2 ? ERR_DEBUG
                      : options.verbosity == 1 ? ERR_INFORMATION
                                               : ERR_WARNING;
  state.colors = wants_colors(options.color);
  if (state.least_shown == ERR_DEBUG) ERR_unmask_s(ERR_DEBUG);
  ERR_dcl_handler(nullptr, take_report, nullptr);
}

bool is_shown(int category) { return category >= state.least_shown && category >= state.muted_below; }

void say(int category, const std::string& text) {
  if (category < state.muted_below) return;
  const std::string shown = for_the_user(text);
  if (category >= ERR_ERROR) state.last_error = shown;
  if (!is_shown(category)) return;
  if (state.wipe) state.wipe();
  const Style& style = kStyles[category >= ERR_DEBUG && category <= ERR_FATAL ? category : ERR_ERROR];
  const std::string line = std::string("orb: ") + (state.colors ? style.color : "") + style.label + ":" +
                           (state.colors ? "\033[0m" : "") + " " + printable(shown) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void before_each_message(std::function<void()> wipe) { state.wipe = std::move(wipe); }

const std::string& last_error_text() { return state.last_error; }
void forget_errors() { state.last_error.clear(); }
std::string shown_name(const std::string& path) {
  return !state.hidden_path.empty() && path == state.hidden_path ? state.shown_path : path;
}

void note_error(const std::string& text) { state.last_error = text; }

bool is_worth_retry(int error_number) {
  return std::find(std::begin(kPassing), std::end(kPassing), error_number) != std::end(kPassing);
}

int exit_code_of_last_error() {
  if (state.last_error == kNoMemoryText) return kRetry;
  for (const int passing : kPassing) {
    if (ends_with_error(state.last_error, passing)) return kRetry;
  }
  const bool is_limit = state.last_error.find(kOverLimit) != std::string::npos;
  return orb__err == ORB_E_MEMORY && !is_limit ? kRetry : kIoError;
}

void fail_as_reported(const std::string& text) {
  if (last_error_text().empty()) say(ERR_ERROR, text);
  throw Failure(static_cast<ExitCode>(exit_code_of_last_error()));
}

Muted::Muted(int below) : previous_(std::exchange(state.muted_below, below)) {}
Muted::~Muted() { state.muted_below = previous_; }

About::About(const std::string& file, const std::string& other)
    : previous_file_(std::exchange(state.file, file)),
      previous_other_(std::exchange(state.other_file, other)) {}
About::~About() {
  state.file = previous_file_;
  state.other_file = previous_other_;
}

Unshown::Unshown() : previous_(std::exchange(state.least_shown, ERR_FATAL + 1)) {}
Unshown::~Unshown() { state.least_shown = previous_; }

ShownAs::ShownAs(const std::string& path, const std::string& shown)
    : previous_path_(std::exchange(state.hidden_path, path == shown ? "" : path)),
      previous_shown_(std::exchange(state.shown_path, shown)) {}
ShownAs::~ShownAs() {
  state.hidden_path = previous_path_;
  state.shown_path = previous_shown_;
}

}  // namespace orb::tool
