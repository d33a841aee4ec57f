// orb play: a sequence, or a file with frames, moving in the terminal. A frame that is missing or broken is shown as
// such and stops nothing.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

#include "at_work.h"
#include "exit_codes.h"
#include "film.h"
#include "frame_summary.h"
#include "interrupt.h"
#include "isolation.h"
#include "json.h"
#include "printable.h"
#include "reports.h"
#include "results.h"
#include "terminal.h"
#include "verbs.h"

namespace orb::tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int32_t kStatusRows = 2;  // what is shown, and the line where the cursor stands
constexpr double kUsualRate = 24;
constexpr double kMostRate = 1000;

enum FilmEnd : size_t { kFilmShown, kFilmMissing, kFilmFailed };
constexpr FrameEnd kFilmEnds[] = {{"shown", false}, {"missing", true}, {"failed", true}};

struct PlayOptions {
  CommonOptions common;
  std::string input;
  InputOptions reading;
  SequenceOptions sequence;
  std::string size;
  double rate = 0;  // 0: as the files say
  bool loops = false;
};

// A terminal without a cursor that breaks no long lines, until the end of this, or of the process.
class Curtain {
 public:
  explicit Curtain(const Screen& screen) : is_up_(screen.is_terminal) {
    if (!is_up_) return;
    write_on_interrupt(kDown);
    show("\033[?25l\033[?7l");
  }
  ~Curtain() {
    if (!is_up_) return;
    std::fputs(kDown, stdout);
    std::fflush(stdout);
    write_on_interrupt("");
  }
  Curtain(const Curtain&) = delete;
  Curtain& operator=(const Curtain&) = delete;

 private:
  static constexpr const char* kDown = "\033[0m\033[?7h\033[?25h";
  bool is_up_;
};

// What stands where there is no picture: a cross.
Picture no_picture(int32_t width, int32_t height) {
  constexpr uint8_t kGround = 32;
  constexpr uint8_t kLine = 160;
  Picture picture = {width, height, {}};
  picture.rgb.assign(3 * static_cast<size_t>(width) * static_cast<size_t>(height), kGround);
  for (int32_t column = 0; column < width; ++column) {
    const auto row = static_cast<int32_t>(int64_t{column} * height / width);
    for (const int32_t line : {row, height - 1 - row}) {
      const size_t at =
          3 * (static_cast<size_t>(line) * static_cast<size_t>(width) + static_cast<size_t>(column));
      std::fill_n(picture.rgb.begin() + static_cast<std::ptrdiff_t>(at), 3, kLine);
    }
  }
  return picture;
}

class Player {
 public:
  Player(const PlayOptions& options, Film& film);
  int run();

 private:
  using Take = std::function<Shot()>;

  void play_once();
  void play_once_apart();
  [[nodiscard]] std::string take_apart(frames::Frame frame, bool& is_open_here);
  void play(frames::Frame frame, const Take& take_shot);
  [[nodiscard]] std::optional<Shot> take(const Take& take_shot, std::string& problem);
  [[nodiscard]] std::string place(frames::Frame frame) const;
  void draw(const Picture& picture, const std::string& text);
  void wait(double seconds);
  void tell() const;
  [[nodiscard]] int status() const;

  const PlayOptions& options_;
  Film& film_;
  const Screen screen_;
  const FrameSize size_;
  bool is_first_pass_ = true;
  bool is_read_apart_ = false;  // some other process has read of the film
  size_t shown_ = 0;            // frames of this pass
  size_t drawn_lines_ = 0;      // that the next frame is drawn over
  FrameSize last_size_;
  Clock::time_point next_ = Clock::now();
  FrameSummary summary_{kFilmEnds};
  std::vector<std::string> problems_;
  bool is_worth_retry_ = false;
};

Player::Player(const PlayOptions& options, Film& film)
    : options_(options),
      film_(film),
      screen_(screen_for(options.common, options.size)),
      size_{screen_.most_width(), screen_.most_height(kStatusRows)},
      last_size_(size_) {}

// The frame, or why there is none. On a terminal messages would go through the picture; they are told at the end.
std::optional<Shot> Player::take(const Take& take_shot, std::string& problem) {
  std::optional<Unshown> unshown;
  if (screen_.is_terminal) unshown.emplace();
  try {
    return take_shot();
  } catch (const Failure& failure) {
    if (failure.code() == kUsage) throw;
    if (*failure.what() != '\0') say(ERR_ERROR, failure.what());
    is_worth_retry_ = is_worth_retry_ || failure.code() == kRetry;
    problem = last_error_text();
    return std::nullopt;
  }
}

std::string Player::place(frames::Frame frame) const {
  return std::to_string(shown_) + "/" + std::to_string(film_.frames().size()) + " " + film_.name(frame);
}

void Player::play(frames::Frame frame, const Take& take_shot) {
  ++shown_;
  std::string problem = "missing";
  const bool is_there = film_.is_there(frame);
  std::optional<Shot> shot = is_there ? take(take_shot, problem) : std::nullopt;
  const std::string text = place(frame) + (shot ? "" : is_there ? ": failed: " + problem : ": missing");
  if (shot) last_size_ = {shot->picture.width, shot->picture.height};
  draw(shot ? shot->picture : no_picture(last_size_.most_width, last_size_.most_height), text);
  if (is_first_pass_) {
    summary_.add(shot ? kFilmShown : is_there ? kFilmFailed : kFilmMissing, frame);
    if (is_there && !shot) problems_.push_back(problem);
  }
  wait(shot ? shot->seconds : 0);
}

void Player::draw(const Picture& picture, const std::string& text) {
  const std::vector<std::string> lines = lines_of(picture, screen_.cells);
  const char* const end_of_line = screen_.is_terminal ? "\033[K\n" : "\n";
  std::string frame;
  if (screen_.is_terminal && drawn_lines_ > 0) frame = "\033[" + std::to_string(drawn_lines_) + "A\r";
  for (const std::string& line : lines) frame += line + end_of_line;
  frame += printable(text) + end_of_line;
  if (screen_.is_terminal) frame += "\033[J";
  drawn_lines_ = lines.size() + 1;
  show(frame);
}

// Every frame is shown, however late. Where nobody looks on, only a rate that was asked for is kept.
void Player::wait(double seconds) {
  if (!screen_.is_terminal && options_.rate == 0) return;
  if (options_.rate > 0 || !(seconds > 0)) seconds = 1 / (options_.rate > 0 ? options_.rate : kUsualRate);
  constexpr double kMostSeconds = 3600;
  next_ = std::max(next_, Clock::now() - std::chrono::seconds(1));
  next_ += std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(std::min(seconds, kMostSeconds)));
  const Waiting waiting;
  std::this_thread::sleep_until(next_);
}

// In the process that reads: a frame that is there.
std::string Player::take_apart(frames::Frame frame, bool& is_open_here) {
  std::optional<Unshown> unshown;
  if (screen_.is_terminal) unshown.emplace();
  if (!is_open_here && is_read_apart_) film_.reopen();
  is_open_here = true;
  const Shot shot = film_.take(frame, size_);
  const Picture& picture = shot.picture;
  return packed({{"width", picture.width},
                 {"height", picture.height},
                 {"rgb", std::string(picture.rgb.begin(), picture.rgb.end())},
                 {"seconds", shot.seconds}});
}

Shot shot_from(const std::string& bytes) {
  const Json shot = unpacked(bytes);
  const std::string rgb = shot["rgb"];
  return {{shot["width"], shot["height"], {rgb.begin(), rgb.end()}}, shot["seconds"]};
}

void Player::play_once_apart() {
  const std::vector<frames::Frame>& frames = film_.frames();
  bool is_open_here = false;  // each process has its own
  const auto read = [&](size_t i) {
    return film_.is_there(frames[i]) ? take_apart(frames[i], is_open_here) : std::string();
  };
  contain_each(frames.size(), read, [&](size_t i, const std::function<std::string()>& result) {
    is_read_apart_ = true;
    play(frames[i], [&] { return shot_from(result()); });
  });
}

void Player::play_once() {
  shown_ = 0;
  if (isolation() != nullptr) {
    play_once_apart();
  } else {
    for (const frames::Frame frame : film_.frames()) {
      play(frame, [&] { return film_.take(frame, size_); });
    }
  }
  is_first_pass_ = false;
}

int Player::status() const {
  if (summary_.count(kFilmMissing) + summary_.count(kFilmFailed) == 0) return kDone;
  if (summary_.count(kFilmShown) > 0) return kSomeFailed;
  return summary_.count(kFilmFailed) == 0 ? kNoInput : is_worth_retry_ ? kRetry : kIoError;
}

void Player::tell() const {
  if (screen_.is_terminal) {
    for (const std::string& problem : problems_) say(ERR_ERROR, problem);
  }
  if (!options_.common.is_quiet || status() != kDone) {
    show(printable(options_.input) + ": " + summary_.text() + "\n");
  }
}

int Player::run() {
  {
    const Curtain curtain(screen_);
    do {
      play_once();
    } while (options_.loops && summary_.count(kFilmShown) > 0);
  }
  tell();
  return status();
}

int run(const PlayOptions& options) {
  if (options.common.json)
    throw Failure(kUsage, "--json: play shows pictures; orb check --json tells of frames");
  if (!options.common.output.empty()) throw Failure(kUsage, "-o: play shows on standard output alone");
  const std::unique_ptr<Film> film = film_of(options.input, options.reading, options.sequence);
  if (options.common.is_dry_run) {
    show("would play " + counted(static_cast<long long>(film->frames().size()), "frame") + "\n");
    return kDone;
  }
  return Player(options, *film).run();
}

}  // namespace

Verb add_play(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("play", "show a sequence or an animation in the terminal");
  const auto options = std::make_shared<PlayOptions>();
  add_common_options(*verb, options->common, "refused: play shows on standard output alone");
  verb->get_option("--json")->description("refused: play shows pictures; orb check --json tells of frames");
  verb->add_option("FILE", options->input,
                   "a pattern such as name.####.png, or a file with frames; - is standard input")
      ->required();
  add_size_option(*verb, options->size);
  verb->add_option("--rate", options->rate,
                   "frames a second, 0.001 to 1000; default: as the files declare, else 24")
      ->type_name("NUMBER")
      ->check(CLI::Range(0.001, kMostRate));
  verb->add_flag("--loop", options->loops, "play over and over, until interrupted");
  add_input_options(*verb, options->reading);
  add_sequence_options(*verb, options->sequence);
  return {verb, &options->common, [options] { return run(*options); }};
}

}  // namespace orb::tool
