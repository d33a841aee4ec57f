// The inputs of a verb that may be sequences: what was typed against what lies on disk.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "command_line.h"
#include "sequence_names.h"

namespace orb::tool {

struct SequenceOptions {
  std::string frames;  // a range; "": the pattern's own, else all from the first on disk to the last
  frames::PatternOptions names;
};

// Adds --frames, --literal and --pad to a verb.
void add_sequence_options(CLI::App& verb, SequenceOptions& options);

[[nodiscard]] bool is_sequence(const std::string& typed, const SequenceOptions& options);

// The folder of a pattern, "." for the working folder.
[[nodiscard]] std::string folder_of(const frames::FramePattern& pattern);

// One input: a sequence, or a file, which is a sequence of itself.
class FrameInput {
 public:
  // Looks it up. Throws Failure: kUsage for what is no pattern or a range over all that one may be, kNoInput when a
  // pattern matches nothing that is asked for, kIoError when the folder cannot be read.
  FrameInput(const std::string& typed, const SequenceOptions& options);

  [[nodiscard]] const std::string& typed() const { return typed_; }
  [[nodiscard]] bool is_sequence() const { return pattern_.has_field(); }
  [[nodiscard]] const frames::FramePattern& pattern() const { return pattern_; }
  // In the order asked for, each once. Of a file the number in its name, if there is one.
  [[nodiscard]] const std::vector<frames::Frame>& wanted() const { return wanted_; }
  [[nodiscard]] bool is_there(frames::Frame frame) const;
  // The nearest frame on disk at or before a frame, or at or after it.
  [[nodiscard]] std::optional<frames::Frame> at_or_before(frames::Frame frame) const;
  [[nodiscard]] std::optional<frames::Frame> at_or_after(frames::Frame frame) const;
  [[nodiscard]] std::string name(frames::Frame frame) const { return pattern_.name(frame); }

 private:
  void take_file();
  void take_sequence(const SequenceOptions& options);
  void choose_wanted(const SequenceOptions& options);

  std::string typed_;
  frames::FramePattern pattern_;
  std::vector<frames::Frame> wanted_;
  std::vector<frames::Frame> on_disk_;  // ascending
};

}  // namespace orb::tool
