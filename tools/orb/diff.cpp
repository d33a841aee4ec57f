// orb diff: compares the samples of two images row by row and says by how much they differ; with -o it writes
// the differences as an image.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "differences.h"
#include "exit_codes.h"
#include "format_choice.h"
#include "input.h"
#include "json.h"
#include "output_image.h"
#include "printable.h"
#include "progress.h"
#include "results.h"
#include "rows.h"
#include "verbs.h"

namespace orb::tool {
namespace {

// This verb's own meaning of the low exit statuses.
enum Verdict : int { kMatch = 0, kWarning = 1, kFailure = 2, kDifferentSizes = 3, kFileError = 4 };
constexpr const char* kVerdictNames[] = {"match", "warning", "failure", "different sizes", "failed"};

// How a pair of frames may end: as the verdicts, and one more.
constexpr size_t kInNeither = 5;
constexpr FrameEnd kPairEnds[] = {{"match", false},          {"warning", true}, {"failure", true},
                                  {"different sizes", true}, {"failed", true},  {"missing", true}};

constexpr const char* kFooter =
    "\nExit status: 0 match, 1 warning, 2 failure, 3 different sizes, 4 a file cannot be read or written;\n"
    "2 also for a command line that makes no sense, 5 a loss was refused, 75 worth another try,\n"
    "130 interrupted. The manual says more: man orb";

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kLeastThreshold = 1e-6;

struct Limits {
  double each = kLeastThreshold;  // more than this in one sample makes it count
  double percent = 0;             // more than this part of the pixels counts
  double hard = kInfinity;        // more than this in any sample counts at once
};

struct DiffOptions {
  CommonOptions common;
  std::string a;
  std::string b;
  InputOptions reading;
  SequenceOptions sequence;
  OutputOptions writing;
  std::string memory;
  Limits warn;
  Limits fail;
  double scale = 1;
};

// One of the two images.
struct Side {
  std::string file;
  Image reader;
  ORB_WINDOW window = {};
  RowWay way = RowWay::direct;
  Image memory;  // the same rows, when they had to be turned round
};

std::string shown(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.9g", value);
  return text;
}

// JSON has no numbers that are not finite; they go in as texts.
Json as_json(double value) { return std::isfinite(value) ? Json(value) : Json(shown(value)); }

double percent(uint64_t part, uint64_t whole) {
  return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

// The differences of a row, and where they go.
class DifferenceWriter {
 public:
  DifferenceWriter(OutputImage& output, const ORB_IFD& form, std::string name)
      : output_(output), name_(std::move(name)), rows_(form), selection_(form, output.wanted().first()) {
    writer_ = output_.create();
  }

  [[nodiscard]] void* const* rows() const { return rows_.get(); }
  void write(int64_t above_bottom) { write_row(writer_, name_, above_bottom, selection_(rows_.get())); }
  void finish() { output_.finish(writer_); }

 private:
  OutputImage& output_;
  std::string name_;
  RowBuffers rows_;
  RowSelection selection_;
  Image writer_;
};

// How a comparison ended.
struct PairEnd {
  Verdict verdict;
  int status;
  std::string error;  // why there is no verdict; it has been shown
};

class Diff {
 public:
  explicit Diff(const DiffOptions& options) : options_(options) {}

  // Throws Failure(kUsage) only.
  PairEnd end();
  [[nodiscard]] std::string whole_text(Verdict verdict) const;
  [[nodiscard]] Json summary(const PairEnd& end) const;

 private:
  Verdict compare();
  void check_options() const;
  void open(Side& side) const;
  void note_description();
  void note_channels();
  void note_luts();
  void describe_output();
  [[nodiscard]] bool choose_order(const std::optional<ORB_IFD>& stored) const;
  void plan(bool bottom_up);
  void turn_round(Progress& progress);
  void compare_rows(bool bottom_up);
  void close_inputs();
  [[nodiscard]] Verdict verdict() const;
  [[nodiscard]] std::string as_text() const;
  [[nodiscard]] Json greatest_json() const;

  const DiffOptions& options_;
  Side a_;
  Side b_;
  std::optional<OutputImage> output_;
  std::optional<Comparison> comparison_;
  std::vector<std::string> notes_;     // what differs beside the samples
  std::vector<std::string> failures_;  // what of that makes the comparison fail
};

// ---- The images and what is said about them ----

void Diff::check_options() const {
  if (options_.a == "-" && options_.b == "-")
    throw Failure(kUsage, "only one image can be on standard input");
  if (output_ && output_->target().is_standard_output()) {
    throw Failure(kUsage, "the results go to standard output; -o needs a file for the difference image");
  }
}

void Diff::open(Side& side) const {
  side.reader = open_input(side.file, options_.reading);
  const int32_t count = side.reader->info.image_count;
  if (count < 1) throw Failure(kIoError, side.file + ": holds no image");
  side.window = side.reader.first().window;
  if (count > 1) {
    say(ERR_WARNING, side.file + ": holds " + std::to_string(count) + " images; only the first is compared");
  }
}

std::string list_of(const std::vector<Channel>& channels) {
  std::string text;
  for (const Channel& channel : channels) text += (text.empty() ? "" : ", ") + name_of(channel);
  return text;
}

void Diff::note_description() {
  if (std::memcmp(&a_.window, &b_.window, sizeof a_.window) != 0) {
    notes_.push_back("window: " + window_text(a_.window) + " against " + window_text(b_.window) +
                     "; compared corner to corner");
  }
  note_channels();
  note_luts();
}

void Diff::note_channels() {
  int last_group = -1;
  for (const ChannelPair& pair : comparison_->pairs()) {
    const Channel& a = comparison_->channel_a(pair);
    const Channel& b = comparison_->channel_b(pair);
    if (a.group == last_group || form_of(a) == form_of(b)) continue;
    last_group = a.group;
    notes_.push_back(name_of(a) + " and on: " + form_of(a) + " against " + form_of(b) +
                     "; integers are compared as parts of their range");
  }
  const struct {
    const std::vector<Channel>& channels;
    const std::string& file;
  } only[] = {{comparison_->only_a(), options_.a}, {comparison_->only_b(), options_.b}};
  for (const auto& side : only) {
    if (!side.channels.empty()) failures_.push_back("only in " + side.file + ": " + list_of(side.channels));
  }
}

// Indices mean the same only with the same table.
void Diff::note_luts() {
  if (a_.reader.first().color.count > 0 || b_.reader.first().color.count > 0) return;
  if (a_.reader.first().index.count <= 0 || b_.reader.first().index.count <= 0) return;
  const Lut a = lut_of(a_.reader);
  const Lut b = lut_of(b_.reader);
  const bool is_same =
      (!a && !b) ||
      (a && b && a->entry_count == b->entry_count &&
       std::memcmp(a->entries, b->entries, static_cast<size_t>(a->entry_count) * sizeof *a->entries) == 0);
  if (!is_same) failures_.emplace_back("the lookup tables differ");
}

// A new picture with A's window and samples; what A says of itself does not hold for it.
void Diff::describe_output() {
  Description wanted(*a_.reader.get());
  if (wanted.first().index.count > 0) {
    throw Failure(kIoError, options_.a + ": holds colour indices, whose differences are no image");
  }
  for (const char* name : {"texts", "names", "frame", "curve", "primaries", "active-window", "image-kind",
                           "aspect-kind", "driver-words"}) {
    wanted.drop(name);
  }
  output_->want(wanted, Lut(), options_.a);
}

// ---- Rows ----

// The order in which the writer takes rows, else the one of an image that gives its rows in one order only.
bool Diff::choose_order(const std::optional<ORB_IFD>& stored) const {
  if (stored && !takes_any_order(output_->format())) return is_bottom_up(*stored);
  return is_bottom_up((gives_any_line(a_.reader) ? b_ : a_).reader.first());
}

void Diff::plan(bool bottom_up) {
  uint64_t most = most_spool_bytes(options_.memory);
  for (Side* side : {&a_, &b_}) {
    const uint64_t need = bytes_in_memory(side->reader.first());
    side->way = way_into_order(side->reader, bottom_up, need, most, can_open_again(side->file));
    if (side->way == RowWay::spool) most -= need;
    say(ERR_INFORMATION, side->file + ": rows: " + name_of(side->way));
  }
}

void Diff::turn_round(Progress& progress) {
  for (Side* side : {&a_, &b_}) {
    if (side->way != RowWay::spool) continue;
    side->memory = held_in_memory(side->reader, Description(*side->reader.get()), side->file, progress);
  }
}

void Diff::compare_rows(bool bottom_up) {
  const int64_t height = height_of(a_.window);
  Progress progress(options_.common, height * (passes_of(a_.way) + passes_of(b_.way) - 1));
  turn_round(progress);
  RowReader a(a_.memory ? a_.memory : a_.reader, a_.file, bottom_up, a_.way);
  RowReader b(b_.memory ? b_.memory : b_.reader, b_.file, bottom_up, b_.way);
  std::optional<DifferenceWriter> writer;
  if (output_ && !options_.common.is_dry_run)
    writer.emplace(*output_, a_.reader.first(), options_.common.output);
  for (int64_t i = 0; i < height; ++i) {
    const int64_t above_bottom = bottom_up ? i : height - 1 - i;
    comparison_->row(a.read(above_bottom), b.read(above_bottom), above_bottom,
                     writer ? writer->rows() : nullptr, options_.scale);
    if (writer) writer->write(above_bottom);
    progress.step();
  }
  close_inputs();
  if (writer) writer->finish();
}

// A damaged end shows here, so this comes before a result is told or a target replaced.
void Diff::close_inputs() {
  for (Side* side : {&a_, &b_}) {
    forget_errors();
    if (!side->reader.close()) fail_as_reported(side->file + ": cannot be read to its end");
  }
}

Verdict Diff::compare() {
  a_.file = options_.a;
  b_.file = options_.b;
  if (!options_.common.output.empty()) output_.emplace(options_.common, options_.writing);
  check_options();
  open(a_);
  open(b_);
  comparison_.emplace(channels_of(a_.reader.first()), channels_of(b_.reader.first()), width_of(a_.window),
                      Thresholds{options_.warn.each, options_.fail.each});
  if (width_of(a_.window) != width_of(b_.window) || height_of(a_.window) != height_of(b_.window)) {
    return kDifferentSizes;
  }
  note_description();
  std::optional<ORB_IFD> stored;
  if (output_) {
    describe_output();
    stored = output_->rehearse();
    output_->settle_losses();
  }
  const bool bottom_up = choose_order(stored);
  plan(bottom_up);
  compare_rows(bottom_up);
  return verdict();
}

// ---- The result ----

bool is_beyond(const Limits& limits, const Excess& excess, const Statistics& found) {
  return percent(excess.pixels, found.pixels) > limits.percent || found.greatest.error > limits.hard;
}

Verdict Diff::verdict() const {
  const Statistics& found = comparison_->statistics();
  if (!failures_.empty() || is_beyond(options_.fail, found.over_fail, found)) return kFailure;
  return is_beyond(options_.warn, found.over_warn, found) ? kWarning : kMatch;
}

std::string size_text(const ORB_WINDOW& window) {
  return std::to_string(width_of(window)) + " x " + std::to_string(height_of(window));
}

std::string line_of(const char* label, const std::string& value) {
  return "  " + std::string(label) + std::string(14 - std::strlen(label), ' ') + value + "\n";
}

std::string excess_text(const Limits& limits, const Excess& excess, const Statistics& found) {
  return shown(limits.each) + ": " + std::to_string(excess.samples) + " of " +
         counted(static_cast<long long>(found.samples), "sample") + " (" +
         shown(percent(excess.samples, found.samples)) + "%), " + std::to_string(excess.pixels) + " of " +
         counted(static_cast<long long>(found.pixels), "pixel") + " (" +
         shown(percent(excess.pixels, found.pixels)) + "%)";
}

// The statistics, line by line.
std::string Diff::as_text() const {
  const Statistics& found = comparison_->statistics();
  std::string text = line_of("mean error", shown(found.mean())) + line_of("RMS error", shown(found.rms())) +
                     line_of("peak SNR", shown(found.peak_snr()) + " dB");
  const Greatest& greatest = found.greatest;
  std::string most = shown(greatest.error);
  if (greatest.error > 0) {
    most += " at column " + std::to_string(a_.window.left + greatest.column) + ", row " +
            std::to_string(a_.window.bottom + greatest.row) + ", " +
            name_of(comparison_->channel_a(comparison_->pairs()[greatest.pair])) + ": " + shown(greatest.a) +
            " against " + shown(greatest.b);
  }
  text += line_of("max error", most);
  if (found.not_finite > 0) {
    text += line_of("not finite", counted(static_cast<long long>(found.not_finite), "sample") +
                                      " on one side only, or by sign; not in mean and RMS error");
  }
  return text + line_of("over warn", excess_text(options_.warn, found.over_warn, found)) +
         line_of("over fail", excess_text(options_.fail, found.over_fail, found));
}

std::string Diff::whole_text(Verdict verdict) const {
  std::string text = "comparing " + printable(options_.a) + " with " + printable(options_.b) + "\n";
  if (verdict == kDifferentSizes) {
    text += line_of("size", size_text(a_.window) + " against " + size_text(b_.window));
  } else {
    for (const auto* lines : {&notes_, &failures_}) {
      for (const std::string& line : *lines) text += "  " + printable(line) + "\n";
    }
    text += as_text();
  }
  std::string last = kVerdictNames[verdict];
  std::transform(last.begin(), last.end(), last.begin(), [](char c) { return c >= 'a' ? c - 'a' + 'A' : c; });
  return text + last + "\n";
}

Json excess_json(const Limits& limits, const Excess& excess, const Statistics& found) {
  return {{"threshold", as_json(limits.each)},
          {"samples", excess.samples},
          {"samples_percent", percent(excess.samples, found.samples)},
          {"pixels", excess.pixels},
          {"pixels_percent", percent(excess.pixels, found.pixels)}};
}

Json Diff::greatest_json() const {
  const Greatest& greatest = comparison_->statistics().greatest;
  if (greatest.error == 0) return {{"value", 0.0}};
  return {{"value", as_json(greatest.error)},
          {"column", a_.window.left + greatest.column},
          {"row", a_.window.bottom + greatest.row},
          {"channel", name_of(comparison_->channel_a(comparison_->pairs()[greatest.pair]))},
          {"a", as_json(greatest.a)},
          {"b", as_json(greatest.b)}};
}

Json Diff::summary(const PairEnd& end) const {
  Json json = {{"a", options_.a}, {"b", options_.b}, {"result", kVerdictNames[end.verdict]}};
  if (!end.error.empty()) json["error"] = end.error;
  if (end.verdict == kDifferentSizes) {
    json["size_a"] = size_text(a_.window);
    json["size_b"] = size_text(b_.window);
  }
  if (end.verdict >= kDifferentSizes) return json;
  const Statistics& found = comparison_->statistics();
  json["notes"] = notes_;
  json["failures"] = failures_;
  json["samples"] = found.samples;
  json["pixels"] = found.pixels;
  json["not_finite"] = found.not_finite;
  json["mean_error"] = as_json(found.mean());
  json["rms_error"] = as_json(found.rms());
  json["peak_snr"] = as_json(found.peak_snr());
  json["max_error"] = greatest_json();
  json["over_warn"] = excess_json(options_.warn, found.over_warn, found);
  json["over_fail"] = excess_json(options_.fail, found.over_fail, found);
  const bool has_image = output_ && !options_.common.is_dry_run;
  json["difference_image"] = has_image ? Json(options_.common.output) : Json();
  return json;
}

// What the other verbs call no input, which is 3 there, is an error of a file here.
ExitCode exit_code_of(const Failure& failure) {
  return failure.code() == kNoInput ? kIoError : failure.code();
}

PairEnd Diff::end() {
  try {
    const Verdict verdict = compare();
    return {verdict, verdict, ""};
  } catch (const Failure& failure) {
    if (failure.code() == kUsage) throw;
    if (*failure.what() != '\0') say(ERR_ERROR, failure.what());
    return {kFileError, exit_code_of(failure), last_error_text()};
  }
}

void deliver(const DiffOptions& options, const std::string& text) {
  CommonOptions to_stdout = options.common;
  to_stdout.output.clear();
  Results results(to_stdout);
  results.text = text;
  results.deliver();
}

bool is_told(const DiffOptions& options, Verdict verdict) {
  return verdict != kFileError && (!options.common.is_quiet || verdict >= kFailure);
}

int compare_one(const DiffOptions& options) {
  Diff diff(options);
  const PairEnd end = diff.end();
  if (options.common.json) {
    deliver(options, to_text(diff.summary(end)));
  } else if (is_told(options, end.verdict)) {
    deliver(options, diff.whole_text(end.verdict));
  }
  return end.status;
}

// ---- Sequences ----

// Compares frame by frame; the worst pair is the result.
class SequenceDiff {
 public:
  explicit SequenceDiff(const DiffOptions& options);
  int run();

 private:
  [[nodiscard]] std::vector<frames::Frame> wanted() const;
  void compare(frames::Frame frame);
  void note_missing(frames::Frame frame);
  void add(frames::Frame frame, const PairEnd& end, Json json);
  [[nodiscard]] std::string text() const;

  const DiffOptions& options_;
  FrameInput a_;
  FrameInput b_;
  std::optional<frames::FramePattern> output_;
  FrameSummary summary_{kPairEnds};
  int status_ = kMatch;
  std::string text_;
  Json frames_ = Json::array();
};

FrameInput input_of(const std::string& typed, const SequenceOptions& options) {
  try {
    return {typed, options};
  } catch (const Failure& failure) {
    throw Failure(exit_code_of(failure), failure.what());
  }
}

// A range in one of the two names counts for both.
SequenceOptions common_range(const DiffOptions& options) {
  SequenceOptions common = options.sequence;
  const auto a = pattern_from(options.a, common.names).range();
  const auto b = pattern_from(options.b, common.names).range();
  if (common.frames.empty() && a.has_value() != b.has_value()) common.frames = (a ? a : b)->text();
  return common;
}

SequenceDiff::SequenceDiff(const DiffOptions& options)
    : options_(options),
      a_(input_of(options.a, common_range(options))),
      b_(input_of(options.b, common_range(options))) {
  if (!a_.is_sequence() || !b_.is_sequence()) {
    throw Failure(kUsage, "a sequence is compared with a sequence, and one of these is a file");
  }
  if (options.common.output.empty()) return;
  output_ = pattern_from(options.common.output, options.sequence.names);
  if (!output_->has_field()) {
    throw Failure(kUsage, options.common.output + " is one file; several frames need a pattern");
  }
}

std::vector<frames::Frame> SequenceDiff::wanted() const {
  std::vector<frames::Frame> all = a_.wanted();
  std::vector<frames::Frame> sorted = all;
  std::sort(sorted.begin(), sorted.end());
  for (const frames::Frame frame : b_.wanted()) {
    if (!std::binary_search(sorted.begin(), sorted.end(), frame)) all.push_back(frame);
  }
  return all;
}

void SequenceDiff::add(frames::Frame frame, const PairEnd& end, Json json) {
  status_ = std::max(status_, end.status);
  json["frame"] = frame;
  if (options_.common.json) frames_.push_back(std::move(json));
}

// A gap that both have is no difference, unless the frame was asked for.
void SequenceDiff::note_missing(frames::Frame frame) {
  const bool is_in_neither = !a_.is_there(frame) && !b_.is_there(frame);
  const bool is_asked =
      !options_.sequence.frames.empty() || a_.pattern().range() || b_.pattern().range() || !is_in_neither;
  const std::string there =
      is_in_neither ? "in neither sequence" : "only in " + (a_.is_there(frame) ? a_ : b_).typed();
  const std::string error = "frame " + std::to_string(frame) + " is " + there;
  if (is_asked) say(ERR_ERROR, error);
  summary_.add(is_in_neither ? kInNeither : size_t{kFileError}, frame);
  add(frame, {kFileError, is_asked ? kFileError : kMatch, error}, {{"result", "missing"}, {"error", error}});
}

void SequenceDiff::compare(frames::Frame frame) {
  if (!a_.is_there(frame) || !b_.is_there(frame)) {
    note_missing(frame);
    return;
  }
  DiffOptions one = options_;
  one.a = a_.name(frame);
  one.b = b_.name(frame);
  if (output_) one.common.output = output_->name(frame);
  Diff diff(one);
  const PairEnd end = diff.end();
  summary_.add(end.verdict, frame);
  const bool is_short = end.verdict == kMatch && options_.common.verbosity == 0;
  if (is_told(options_, end.verdict)) {
    text_ +=
        is_short ? printable(one.a) + " and " + printable(one.b) + ": match\n" : diff.whole_text(end.verdict);
  }
  add(frame, end, diff.summary(end));
}

int SequenceDiff::run() {
  for (const frames::Frame frame : wanted()) compare(frame);
  if (options_.common.json) {
    deliver(options_, to_text({{"frames", frames_}, {"summary", summary_.json()}}));
  } else if (!options_.common.is_quiet || status_ >= kFailure) {
    deliver(options_, text_ + summary_.text() + "\n");
  }
  return status_;
}

int run(const DiffOptions& options) {
  if (is_sequence(options.a, options.sequence) || is_sequence(options.b, options.sequence)) {
    return SequenceDiff(options).run();
  }
  return compare_one(options);
}

// ---- The options ----

std::string require_number(const std::string& text, double most) {
  double value = 0;
  if (!CLI::detail::lexical_cast(text, value) || !(value >= 0 && value <= most)) {
    return "\"" + text + "\" is not a number from 0" + (most < kInfinity ? " to " + shown(most) : " up");
  }
  return "";
}

void add_number(CLI::App& verb, const char* name, double& value, const char* help, double most) {
  verb.add_option(name, value, help)->type_name("NUMBER")->check([most](const std::string& text) {
    return require_number(text, most);
  });
}

void add_thresholds(CLI::App& verb, DiffOptions& options) {
  constexpr double kMostPercent = 100;
  add_number(verb, "--fail", options.fail.each, "a difference above this fails; default 1e-06", kInfinity);
  add_number(verb, "--fail-percent", options.fail.percent,
             "... in more than this part of the pixels; default 0", kMostPercent);
  add_number(verb, "--hard-fail", options.fail.hard, "one difference above this fails", kInfinity);
  add_number(verb, "--warn", options.warn.each, "a difference above this warns; default 1e-06", kInfinity);
  add_number(verb, "--warn-percent", options.warn.percent,
             "... in more than this part of the pixels; default 0", kMostPercent);
  add_number(verb, "--hard-warn", options.warn.hard, "one difference above this warns", kInfinity);
  add_number(verb, "--scale", options.scale,
             "what the difference image's samples are multiplied by; default 1",
             std::numeric_limits<float>::max());
}

}  // namespace

Verb add_diff(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("diff", "compare the samples of two images or sequences");
  const auto options = std::make_shared<DiffOptions>();
  verb->footer(kFooter);
  add_common_options(*verb, options->common, "the image of the differences to write");
  verb->add_option("A", options->a, "an image, or a sequence; - is standard input")->required();
  verb->add_option("B", options->b, "what to compare it with")->required();
  add_thresholds(*verb, *options);
  add_input_options(*verb, options->reading);
  add_sequence_options(*verb, options->sequence);
  add_output_options(*verb, options->writing);
  add_memory_option(*verb, options->memory);
  return {verb, &options->common, [options] { return run(*options); }};
}

}  // namespace orb::tool
