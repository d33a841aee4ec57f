// orb convert on sequences: the frames go to worker processes; what becomes of each is told in the order of the
// frames, and one that fails stops no other.
#include <algorithm>
#include <map>
#include <new>
#include <optional>
#include <thread>

#include "convert.h"
#include "exit_codes.h"
#include "format_choice.h"
#include "frame_plan.h"
#include "frame_summary.h"
#include "interrupt.h"
#include "isolation.h"
#include "results.h"
#include "target.h"
#include "workers.h"

namespace orb::tool {
namespace {

// How a frame may end. The names of results leave out that a frame was filled in; their texts say so.
enum End : size_t { kWritten, kWouldBe, kFilled, kSkipped, kMissing, kFailed };
constexpr FrameEnd kEnds[] = {{"written", false}, {"would be written", false}, {"filled", true},
                              {"skipped", false}, {"missing", true},           {"failed", true}};
constexpr const char* kResultNames[] = {"written", "would be written", "written",
                                        "skipped", "missing",          "failed"};

struct Outcome {
  End end = kFailed;
  int exit_code = kDone;
  int32_t code = 0;  // the library's, of what failed
  std::string text;
  std::string size = {};  // of the image; "" when it was not known
  std::string plan = {};  // what a dry run says
  Json losses = Json::array();
};

std::string to_worker_text(const Outcome& outcome) {
  const Json json = {{"end", static_cast<size_t>(outcome.end)},
                     {"exit", outcome.exit_code},
                     {"code", outcome.code},
                     {"text", outcome.text},
                     {"size", outcome.size},
                     {"plan", outcome.plan},
                     {"losses", outcome.losses}};
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Outcome from_worker_text(const std::string& text) {
  const Json json = Json::parse(text, nullptr, false);
  if (!json.is_object()) return {.exit_code = kIoError, .text = "the worker process gave no answer"};
  return {static_cast<End>(json["end"].get<size_t>()),
          json["exit"],
          json["code"],
          json["text"],
          json["size"],
          json["plan"],
          json["losses"]};
}

// The lines of --results, each there as soon as its frame and those before it have ended.
class ResultLines {
 public:
  // Looks at the file, which the first line opens. Throws Failure as Target does.
  void begin(const std::string& name, bool force) { target_.emplace(name, force, Target::Way::in_place); }
  // Throws Failure.
  void add(const Json& json);
  [[nodiscard]] bool is_standard_output() const { return target_ && target_->is_standard_output(); }

 private:
  std::optional<Target> target_;
  OpenedFile file_;
};

void ResultLines::add(const Json& json) {
  if (!target_) return;
  if (!file_) file_ = target_->open();
  write_text(json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n", file_.get(),
             target_->shown_name());
}

class FrameConversion {
 public:
  explicit FrameConversion(const ConvertOptions& options);
  int run();

 private:
  void check_format() const;
  void begin_results();
  [[nodiscard]] const FrameJob& work(size_t number) const { return plan_.jobs()[work_[number]]; }
  [[nodiscard]] ConversionOptions options_of(const FrameJob& job, uint64_t most_bytes) const;
  [[nodiscard]] Outcome convert(const FrameJob& job, uint64_t most_bytes) const;
  bool note_end(const JobEnd& end);
  [[nodiscard]] Outcome outcome_of(const FrameJob& job, const JobEnd& end) const;
  void tell_finished();
  void tell(const FrameJob& job, Outcome outcome);
  void compare_size(const FrameJob& job, Outcome& outcome);
  [[nodiscard]] Json json_of(const FrameJob& job, const Outcome& outcome) const;
  void deliver() const;
  [[nodiscard]] uint64_t done() const;
  [[nodiscard]] int status() const;

  const ConvertOptions& options_;
  const MissingPolicy policy_;
  const WorkerLimits limits_;
  const FramePlan plan_;
  ResultLines lines_;
  std::vector<size_t> work_;            // jobs of the plan that need doing
  std::map<size_t, Outcome> finished_;  // by job, until those before it are told
  size_t told_ = 0;
  bool is_misused_ = false;  // a frame found that the command line makes no sense
  std::string first_size_;
  frames::Frame first_frame_ = 0;
  FrameSummary summary_{kEnds};
  std::vector<int> failures_;  // exit codes
  Json frames_ = Json::array();
  std::string text_;
};

WorkerLimits limits_of(const ConvertOptions& options) {
  const size_t jobs = options.jobs == 0 ? std::max(1U, std::thread::hardware_concurrency()) : options.jobs;
  return {std::min<size_t>(jobs, kMostWorkers),
          options.memory.empty() ? kAnyBytes : most_spool_bytes(options.memory)};
}

FrameConversion::FrameConversion(const ConvertOptions& options)
    : options_(options),
      policy_(policy_of(options.missing)),
      limits_(limits_of(options)),
      plan_(options.inputs, options.one.common.output,
            {options.sequence, policy_, options.only_missing, options.one.steps.merges_fields}) {
  for (size_t i = 0; i < plan_.jobs().size(); ++i) {
    if (plan_.jobs()[i].is_work()) work_.push_back(i);
  }
}

// What no frame could do, so that it is said once.
void FrameConversion::check_format() const {
  const ORB_FORMAT& format = format_for_writing(plan_.output(plan_.jobs().front()), options_.one.writing.to);
  static_cast<void>(DriverSettings(format, options_.one.writing.settings));
}

void FrameConversion::begin_results() {
  const CommonOptions& common = options_.one.common;
  if (options_.results.empty() || common.is_dry_run) return;
  if (plan_.has_file(options_.results)) {
    throw Failure(kUsage, "--results " + options_.results + ": that is a frame of this run");
  }
  lines_.begin(options_.results, common.force);
  if (lines_.is_standard_output() && common.json) {
    throw Failure(kUsage, "--json and --results - both write to standard output");
  }
}

// ---- In a worker ----

ConversionOptions FrameConversion::options_of(const FrameJob& job, uint64_t most_bytes) const {
  ConversionOptions options = options_.one;
  options.input = plan_.input(job);
  options.common.output = plan_.output(job);
  options.common.progress = "none";
  options.common.json = false;
  options.most_spool_bytes = most_bytes;
  options.label = options.common.output + ": ";
  options.is_black = job.kind == FrameJob::Kind::black;
  return options;
}

std::string fill_text(const FrameJob& job) {
  if (job.kind == FrameJob::Kind::convert) return "";
  return job.kind == FrameJob::Kind::black ? "missing; a black frame stands in"
                                           : "missing; frame " + std::to_string(job.source) + " stands in";
}

Outcome FrameConversion::convert(const FrameJob& job, uint64_t most_bytes) const {
  const ConversionOptions options = options_of(job, most_bytes);
  const About about(options.input, options.common.output);
  Conversion conversion(options);
  Outcome outcome;
  orb__err = 0;  // so that a failure that is not the library's has no number of an earlier one
  forget_errors();
  try {
    conversion.run();
    const bool is_fill = job.kind != FrameJob::Kind::convert;
    outcome.end = options.common.is_dry_run ? kWouldBe : is_fill ? kFilled : kWritten;
    outcome.text = fill_text(job);
    if (options.common.is_dry_run) outcome.plan = conversion.plan_text();
  } catch (const Failure& failure) {
    if (*failure.what() != '\0') say(ERR_ERROR, failure.what());
    outcome.exit_code = failure.code();
    outcome.code = failure.code() == kNoInput ? ORB_E_OPEN : orb__err;
    outcome.text = last_error_text();
  } catch (const std::bad_alloc&) {
    outcome.exit_code = kRetry;
    outcome.code = ORB_E_MEMORY;
    outcome.text = "out of memory";
  }
  outcome.losses = conversion.summary("")["losses"];
  if (const std::optional<ORB_WINDOW> window = conversion.window()) outcome.size = size_text(*window);
  return outcome;
}

// ---- In the process that was started ----

Outcome FrameConversion::outcome_of(const FrameJob& job, const JobEnd& end) const {
  if (end.death.empty()) return from_worker_text(end.text);
  const std::string output = plan_.output(job);
  if (end.worker != 0) remove_leftovers(output, end.worker);
  Outcome outcome;
  outcome.exit_code = end.is_worth_retry ? kRetry : kIoError;
  outcome.code = ORB_E_HANDLE;
  outcome.text = isolation() != nullptr && end.worker != 0 ? end.death : plan_.input(job) + ": " + end.death;
  say(ERR_ERROR, outcome.text);
  return outcome;
}

bool FrameConversion::note_end(const JobEnd& end) {
  Outcome outcome = outcome_of(work(end.job), end);
  // What is wrong with the command line is so for the first frame, too.
  is_misused_ = is_misused_ || (outcome.exit_code == kUsage && done() == 0);
  finished_.emplace(work_[end.job], std::move(outcome));
  if (!is_misused_) tell_finished();
  return !is_misused_;
}

// Tells of the frames whose turn it is.
void FrameConversion::tell_finished() {
  for (; told_ < plan_.jobs().size(); ++told_) {
    const FrameJob& job = plan_.jobs()[told_];
    Outcome outcome;
    if (job.kind == FrameJob::Kind::skip) {
      outcome.end = kSkipped;
      outcome.text = "the output exists";
    } else if (job.kind == FrameJob::Kind::missing) {
      outcome.end = kMissing;
      outcome.code = ORB_E_OPEN;
      outcome.text = "there is no " + plan_.input(job);
    } else {
      const auto found = finished_.find(told_);
      if (found == finished_.end()) return;
      outcome = std::move(found->second);
      finished_.erase(found);
    }
    tell(job, std::move(outcome));
  }
}

void FrameConversion::tell(const FrameJob& job, Outcome outcome) {
  compare_size(job, outcome);
  summary_.add(outcome.end, job.frame);
  if (outcome.end == kFailed) failures_.push_back(outcome.exit_code);
  text_ += outcome.plan;
  const Json json = json_of(job, outcome);
  lines_.add(json);
  if (options_.one.common.json) frames_.push_back(json);
}

// A frame of another size than the first is a picture like any other, but hardly meant.
void FrameConversion::compare_size(const FrameJob& job, Outcome& outcome) {
  if (outcome.size.empty()) return;
  if (first_size_.empty()) {
    first_size_ = outcome.size;
    first_frame_ = job.frame;
  }
  if (outcome.size == first_size_) return;
  const std::string text = "the size is " + outcome.size + ", that of frame " + std::to_string(first_frame_) +
                           " is " + first_size_;
  outcome.text += (outcome.text.empty() ? "" : "; ") + text;
  say(ERR_WARNING, plan_.input(job) + ": " + text);
}

Json FrameConversion::json_of(const FrameJob& job, const Outcome& outcome) const {
  return {{"frame", job.frame},          {"input", plan_.input(job)},
          {"output", plan_.output(job)}, {"result", kResultNames[outcome.end]},
          {"code", outcome.code},        {"text", outcome.text},
          {"losses", outcome.losses}};
}

void FrameConversion::deliver() const {
  const CommonOptions& common = options_.one.common;
  if (common.json) {
    show(to_text({{"frames", frames_}, {"summary", summary_.json()}}));
  } else if (lines_.is_standard_output()) {
    say(status() == kDone ? ERR_INFORMATION : ERR_WARNING, summary_.text());
  } else if (!common.is_quiet || status() != kDone) {
    show(text_ + summary_.text() + "\n");
  }
}

uint64_t FrameConversion::done() const {
  return summary_.count(kWritten) + summary_.count(kWouldBe) + summary_.count(kFilled);
}

int FrameConversion::status() const {
  const bool is_whole = summary_.count(kMissing) == 0 || policy_ == MissingPolicy::skip;
  const bool has_any = done() + summary_.count(kSkipped) > 0;
  if (failures_.empty() && is_whole && has_any) return kDone;
  if (has_any) return kSomeFailed;
  if (failures_.empty()) return kNoInput;
  const auto all_are = [this](int code) {
    return std::all_of(failures_.begin(), failures_.end(), [code](int failure) { return failure == code; });
  };
  if (all_are(kLossRefused)) return kLossRefused;
  return std::find(failures_.begin(), failures_.end(), kRetry) != failures_.end() ? kRetry : kIoError;
}

int FrameConversion::run() {
  check_format();
  begin_results();
  if (work_.empty()) {
    tell_finished();
  } else {
    Progress progress(options_.one.common, static_cast<int64_t>(work_.size()));
    const JobCalls calls = {
        [this](size_t number, uint64_t most_bytes) {
          before_each_message(nullptr);  // the bar is the other process's
          const Outcome outcome = convert(work(number), most_bytes);
          return Answer{to_worker_text(outcome), outcome.end != kFailed && outcome.end != kWouldBe};
        },
        [&](const JobEnd& end) {
          const bool goes_on = note_end(end);
          progress.step();
          return goes_on;
        },
        [&](std::string_view lines) { progress.pass_on(lines); }};
    run_jobs(work_.size(), limits_, calls);
  }
  if (is_misused_) throw Failure(kUsage);
  deliver();
  return status();
}

}  // namespace

int convert_frames(const ConvertOptions& options) { return FrameConversion(options).run(); }

}  // namespace orb::tool
