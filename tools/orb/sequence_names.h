// Names of sequences and ranges of frames on the command line: the options about them, and their failures as the
// tool's.
#pragma once

#include <string>

#include "command_line.h"
#include "exit_codes.h"
#include "frames/on_disk.h"
#include "frames/pattern.h"

namespace orb::tool {

// Adds --literal and --pad to a verb.
void add_name_options(CLI::App& verb, frames::PatternOptions& options);

// FramePattern::parse and FrameRange::parse. Throw Failure(kUsage).
[[nodiscard]] frames::FramePattern pattern_from(const std::string& text,
                                                const frames::PatternOptions& options);
[[nodiscard]] frames::FrameRange range_from(const std::string& text);

// find_sequence. Throws Failure as folder_failure; sequence_of also kNoInput, with the nearest sequence, when no frame
// is there.
[[nodiscard]] std::optional<frames::Sequence> sequence_if_any(const frames::FramePattern& pattern);
[[nodiscard]] frames::Sequence sequence_of(const frames::FramePattern& pattern);

// What a folder that cannot be read means for the exit status.
[[nodiscard]] Failure folder_failure(const std::system_error& problem);

}  // namespace orb::tool
