// The inputs of a verb that may be sequences.
#include "sequence.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <string_view>

#include "exit_codes.h"

namespace orb::tool {

using frames::Frame;

void add_sequence_options(CLI::App& verb, SequenceOptions& options) {
  verb.add_option("--frames", options.frames,
                  "the frames of a pattern such as name.####.png, for example 1001-1049,1051-1096x2; "
                  "default: those that the pattern names, or all from the first to the last")
      ->type_name("RANGE");
  add_name_options(verb, options.names);
}

bool is_sequence(const std::string& typed, const SequenceOptions& options) {
  return pattern_from(typed, options.names).has_field();
}

std::string folder_of(const frames::FramePattern& pattern) {
  const std::string folder = pattern.folder();
  return folder.empty() ? "." : folder;
}

FrameInput::FrameInput(const std::string& typed, const SequenceOptions& options)
    : typed_(typed), pattern_(pattern_from(typed, options.names)) {
  if (pattern_.has_field()) {
    take_sequence(options);
  } else {
    take_file();
  }
}

void FrameInput::take_file() {
  const std::string_view name = std::string_view(typed_).substr(pattern_.folder().size());
  const std::optional<frames::NameParts> parts = frames::split_name(name);
  if (!parts) return;
  wanted_ = {parts->frame};
  struct stat status = {};
  if (stat(typed_.c_str(), &status) == 0) on_disk_ = wanted_;
}

void FrameInput::take_sequence(const SequenceOptions& options) {
  frames::Sequence found = sequence_of(pattern_);
  on_disk_ = std::move(found.frames);
  pattern_.set_width(found.pattern.width());
  choose_wanted(options);
  const auto is_on_disk = [this](Frame frame) { return is_there(frame); };
  if (std::none_of(wanted_.begin(), wanted_.end(), is_on_disk)) {
    throw Failure(kNoInput, typed_ + ": none of the frames asked for is there; on disk is " +
                                pattern_.canonical(frames::FrameRange::of(on_disk_)));
  }
}

void FrameInput::choose_wanted(const SequenceOptions& options) {
  const std::optional<frames::FrameRange>& in_name = pattern_.range();
  if (!options.frames.empty()) {
    wanted_ = range_from(options.frames).frames();
    if (in_name) std::erase_if(wanted_, [&](Frame frame) { return !in_name->contains(frame); });
  } else if (in_name) {
    wanted_ = in_name->frames();
  } else {
    const int64_t first = on_disk_.front();
    const int64_t last = on_disk_.back();
    if (static_cast<uint64_t>(last - first) >= frames::kMostFrames) {
      throw Failure(kUsage, typed_ + ": frames " + std::to_string(first) + " to " + std::to_string(last) +
                                " are more than one run takes; --frames says which");
    }
    for (int64_t frame = first; frame <= last; ++frame) wanted_.push_back(static_cast<Frame>(frame));
  }
}

bool FrameInput::is_there(Frame frame) const {
  return std::binary_search(on_disk_.begin(), on_disk_.end(), frame);
}

std::optional<Frame> FrameInput::at_or_before(Frame frame) const {
  const auto after = std::upper_bound(on_disk_.begin(), on_disk_.end(), frame);
  return after == on_disk_.begin() ? std::nullopt : std::optional(*std::prev(after));
}

std::optional<Frame> FrameInput::at_or_after(Frame frame) const {
  const auto at = std::lower_bound(on_disk_.begin(), on_disk_.end(), frame);
  return at == on_disk_.end() ? std::nullopt : std::optional(*at);
}

}  // namespace orb::tool
