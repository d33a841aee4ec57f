// Which frames a run of convert makes of which.
#include "frame_plan.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>
#include <set>

#include "exit_codes.h"
#include "steps.h"

namespace orb::tool {
namespace {

using frames::Frame;

constexpr const char* kPolicies[] = {"error", "skip", "hold", "nearest", "black"};

bool exists(const std::string& file) {
  struct stat status = {};
  return stat(file.c_str(), &status) == 0;
}

std::optional<Frame> nearest_of(const FrameInput& input, Frame frame) {
  const std::optional<Frame> before = input.at_or_before(frame);
  const std::optional<Frame> after = input.at_or_after(frame);
  if (!before || !after) return before ? before : after;
  return int64_t{frame} - *before <= int64_t{*after} - frame ? before : after;
}

// The frame that lends a missing one its picture, or a black one its description.
std::optional<Frame> stand_in(const FrameInput& input, Frame frame, MissingPolicy policy) {
  if (policy == MissingPolicy::hold) return input.at_or_before(frame);
  if (policy == MissingPolicy::nearest) return nearest_of(input, frame);
  if (policy != MissingPolicy::black) return std::nullopt;
  const std::vector<Frame>& wanted = input.wanted();
  const auto first = std::find_if(wanted.begin(), wanted.end(), [&](Frame f) { return input.is_there(f); });
  return first == wanted.end() ? std::nullopt : std::optional(*first);
}

std::string normal_folder(const frames::FramePattern& pattern) {
  return std::filesystem::path(folder_of(pattern)).lexically_normal().string();
}

}  // namespace

MissingPolicy policy_of(const std::string& name) {
  const auto* found = std::find(std::begin(kPolicies), std::end(kPolicies), name);
  if (found == std::end(kPolicies)) throw Failure(kUsage, "--missing " + name + ": no such policy");
  return static_cast<MissingPolicy>(std::distance(std::begin(kPolicies), found));
}

FramePlan::FramePlan(const std::vector<std::string>& inputs, const std::string& output,
                     const PlanOptions& options)
    : merges_fields_(options.merges_fields) {
  settle_output(output, options);
  for (const std::string& input : inputs) {
    inputs_.emplace_back(input, options.sequence);
    if (inputs_.back().wanted().empty()) {
      throw Failure(kUsage, input + ": its name has no number, so there is none for " + output);
    }
  }
  for (uint32_t i = 0; i < inputs_.size(); ++i) add_jobs(i, options);
  require_own_outputs();
  require_unread_outputs();
}

void FramePlan::settle_output(const std::string& output, const PlanOptions& options) {
  output_ = pattern_from(output, options.sequence.names);
  if (!output_.has_field()) {
    throw Failure(kUsage, output + " is one file; several frames need a pattern such as name.####.png");
  }
  if (output_.range()) throw Failure(kUsage, output + ": the output takes its frames from the input");
  struct stat status = {};
  const std::string folder = folder_of(output_);
  const bool is_there = stat(folder.c_str(), &status) == 0;
  if (!is_there || !S_ISDIR(status.st_mode)) {
    throw Failure(kIoError,
                  "Cannot open folder " + folder + "; " + std::strerror(is_there ? ENOTDIR : errno));
  }
  if (!output_.is_width_open()) return;
  const std::optional<frames::Sequence> earlier = sequence_if_any(output_);
  output_.set_width(earlier ? earlier->pattern.width() : frames::kUsualWidth);
}

FrameJob FramePlan::job_of(uint32_t index, Frame frame, const PlanOptions& options) const {
  const FrameInput& input = inputs_[index];
  FrameJob job = {frame, frame, index, FrameJob::Kind::convert};
  if (options.only_missing && exists(output(job))) {
    job.kind = FrameJob::Kind::skip;
  } else if (!input.is_there(frame)) {
    const std::optional<Frame> source = stand_in(input, frame, options.missing);
    job.source = source.value_or(frame);
    job.kind = !source                                   ? FrameJob::Kind::missing
               : options.missing == MissingPolicy::black ? FrameJob::Kind::black
                                                         : FrameJob::Kind::fill;
  }
  return job;
}

void FramePlan::add_jobs(uint32_t input, const PlanOptions& options) {
  const std::vector<Frame>& wanted = inputs_[input].wanted();
  std::set<Frame> first_fields;
  for (const Frame frame : wanted) {
    if (options.merges_fields && frame % 2 != 0 && inputs_[input].is_there(frame)) first_fields.insert(frame);
  }
  for (const Frame frame : wanted) {
    const bool is_second = frame % 2 == 0 && first_fields.contains(frame - 1);
    if (!is_second) jobs_.push_back(job_of(input, frame, options));
  }
}

bool FramePlan::has_file(const std::string& file) const {
  namespace fs = std::filesystem;
  std::error_code ignored;  // what cannot be looked at is no such file
  const bool is_there = fs::exists(file, ignored);
  const auto folder = [&](const fs::path& name) { return fs::absolute(name, ignored).parent_path(); };
  const auto is_it = [&](const fs::path& name) {
    if (is_there) return fs::equivalent(name, file, ignored);
    return name.filename() == fs::path(file).filename() &&
           fs::equivalent(folder(name), folder(file), ignored);
  };
  return std::any_of(jobs_.begin(), jobs_.end(), [&](const FrameJob& job) {
    const std::string name = input(job);
    return is_it(name) || is_it(output(job)) || (merges_fields_ && is_it(other_field(name).value_or(name)));
  });
}

// Two frames never share an output.
void FramePlan::require_own_outputs() const {
  if (inputs_.size() == 1) return;  // has each frame once
  std::vector<const FrameJob*> sorted;
  sorted.reserve(jobs_.size());
  for (const FrameJob& job : jobs_) sorted.push_back(&job);
  std::sort(sorted.begin(), sorted.end(), [](auto* a, auto* b) { return a->frame < b->frame; });
  const auto twice =
      std::adjacent_find(sorted.begin(), sorted.end(), [](auto* a, auto* b) { return a->frame == b->frame; });
  if (twice == sorted.end()) return;
  throw Failure(kUsage, input(**twice) + " and " + input(**std::next(twice)) + " would both be written to " +
                            output(**twice));
}

// A frame may replace the very file that it is made from, but not one that another frame is made from.
void FramePlan::require_unread_outputs() const {
  const std::string folder = normal_folder(output_);
  std::vector<Frame> made;
  for (const FrameJob& job : jobs_) {
    if (job.is_work()) made.push_back(job.frame);
  }
  std::sort(made.begin(), made.end());
  for (const FrameJob& job : jobs_) {
    const frames::FramePattern& pattern = inputs_[job.input].pattern();
    if (job.kind != FrameJob::Kind::convert || normal_folder(pattern) != folder) continue;
    const std::string name = input(job);
    const std::optional<Frame> frame = output_.match(std::string_view(name).substr(pattern.folder().size()));
    if (!frame || *frame == job.frame || !std::binary_search(made.begin(), made.end(), *frame)) continue;
    throw Failure(kUsage, "frame " + std::to_string(*frame) + " would be written over " + name +
                              ", which frame " + std::to_string(job.frame) + " is made from");
  }
}

}  // namespace orb::tool
