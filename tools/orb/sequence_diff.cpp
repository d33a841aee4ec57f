// The comparison of two sequences.
#include <algorithm>
#include <optional>
#include <utility>

#include "diff.h"
#include "exit_codes.h"
#include "file_diff.h"
#include "printable.h"
#include "reports.h"
#include "results.h"

namespace orb::tool {
namespace {

// How a pair of frames may end: as the verdicts, and one more.
constexpr size_t kInNeither = 5;
constexpr FrameEnd kPairEnds[] = {{"match", false},          {"warning", true}, {"failure", true},
                                  {"different sizes", true}, {"failed", true},  {"missing", true}};

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
  PairResult result = compare_pair(one);
  const PairEnd& end = result.end;
  summary_.add(end.verdict, frame);
  const bool is_short = end.verdict == kMatch && options_.common.verbosity == 0;
  if (is_told(options_, end.verdict)) {
    text_ += is_short ? printable(one.a) + " and " + printable(one.b) + ": match\n" : result.text;
  }
  add(frame, end, std::move(result.summary));
}

int SequenceDiff::run() {
  for (const frames::Frame frame : wanted()) compare(frame);
  if (options_.common.json) {
    show(to_text({{"frames", frames_}, {"summary", summary_.json()}}));
  } else if (!options_.common.is_quiet || status_ >= kFailure) {
    show(text_ + summary_.text() + "\n");
  }
  return status_;
}

}  // namespace

int compare_sequences(const DiffOptions& options) { return SequenceDiff(options).run(); }

}  // namespace orb::tool
