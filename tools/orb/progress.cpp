// How far a verb has come, on standard error.
#include "progress.h"

#include <unistd.h>

#include <cstdio>

#include "reports.h"

namespace orb::tool {
namespace {

constexpr int64_t kBarCells = 40;

void print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

}  // namespace

Progress::Progress(const CommonOptions& options, int64_t total) : kind_(Kind::none), total_(total) {
  const bool has_terminal = isatty(STDERR_FILENO) != 0;
  if (options.progress == "plain") kind_ = Kind::plain;
  if (options.progress == "json") kind_ = Kind::json;
  // A bar needs a line that can be written over, so even when asked for it stays away from files.
  const bool wants_bar = options.progress == "bar" || (options.progress == "auto" && !options.is_quiet);
  if (wants_bar && has_terminal) kind_ = Kind::bar;
  if (kind_ == Kind::bar) before_each_message([this] { wipe(); });
}

Progress::~Progress() {
  wipe();
  if (kind_ == Kind::bar) before_each_message(nullptr);
}

void Progress::pass_on(std::string_view lines) {
  wipe();
  print(lines);
  if (kind_ == Kind::bar && shown_percent_ >= 0) show();
}

void Progress::step() {
  ++done_;
  const int64_t percent = done_ * 100 / total_;
  if (kind_ == Kind::none || percent == shown_percent_) return;
  shown_percent_ = percent;
  show();
}

void Progress::show() {
  const std::string done = std::to_string(done_);
  const std::string total = std::to_string(total_);
  const std::string percent = std::to_string(shown_percent_);
  if (kind_ == Kind::plain) {
    print("progress: " + done + "/" + total + " " + percent + "%\n");
  } else if (kind_ == Kind::json) {
    print("{\"progress\":{\"done\":" + done + ",\"total\":" + total + ",\"percent\":" + percent + "}}\n");
  } else {
    const auto filled = static_cast<size_t>(shown_percent_ * kBarCells / 100);
    print("\r[" + std::string(filled, '#') + std::string(kBarCells - filled, ' ') + "] " + percent + "%");
    is_bar_standing_ = true;
  }
}

void Progress::wipe() {
  if (!is_bar_standing_) return;
  print("\r\033[K");
  is_bar_standing_ = false;
}

}  // namespace orb::tool
