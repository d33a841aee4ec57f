// Names of sequences and ranges of frames on the command line.
#include "sequence_names.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>

#include "reports.h"

namespace orb::tool {

void add_name_options(CLI::App& verb, frames::PatternOptions& options) {
  verb.add_flag("--literal", options.is_literal, "take names as they stand, \"#\" and all");
  verb.add_option("--pad", options.pad,
                  "the least number of characters of a frame number, 1 to " +
                      std::to_string(frames::kMostWidth) + "; default: as the pattern says")
      ->type_name("N")
      ->check(CLI::Range(size_t{1}, frames::kMostWidth));
}

frames::FramePattern pattern_from(const std::string& text, const frames::PatternOptions& options) {
  try {
    return frames::FramePattern::parse(text, options);
  } catch (const frames::BadFrames& problem) {
    throw Failure(kUsage, text + ": " + problem.what());
  }
}

frames::FrameRange range_from(const std::string& text) {
  try {
    return frames::FrameRange::parse(text);
  } catch (const frames::BadFrames& problem) {
    throw Failure(kUsage, problem.what());
  }
}

std::optional<frames::Sequence> sequence_if_any(const frames::FramePattern& pattern) {
  try {
    return frames::find_sequence(pattern);
  } catch (const std::system_error& problem) {
    throw folder_failure(problem);
  }
}

frames::Sequence sequence_of(const frames::FramePattern& pattern) {
  if (std::optional<frames::Sequence> sequence = sequence_if_any(pattern)) return std::move(*sequence);
  const std::string text = pattern.text();
  if (access(text.c_str(), F_OK) == 0) {
    throw Failure(kNoInput, "no frame of " + text +
                                ", which is a file of that name; --literal takes a name as it stands");
  }
  const std::string nearest = frames::nearest_sequence(pattern);
  const std::string folder = pattern.folder().empty() ? "the working folder" : pattern.folder();
  throw Failure(kNoInput,
                "no frame of " + text + "; " +
                    (nearest.empty() ? folder + " holds no sequence" : "nearest sequence: " + nearest));
}

Failure folder_failure(const std::system_error& problem) {
  const int error_number = problem.code().value();
  const bool is_absent = error_number == ENOENT || error_number == ENOTDIR;
  return {is_absent ? kNoInput : is_worth_retry(error_number) ? kRetry : kIoError, problem.what()};
}

}  // namespace orb::tool
