// orb frames: the frames of a sequence in chunks, for whatever runs them.
#include <CLI/CLI.hpp>
#include <algorithm>

#include "exit_codes.h"
#include "json.h"
#include "orbbase/support/err.h"
#include "printable.h"
#include "reports.h"
#include "results.h"
#include "sequence_names.h"
#include "verbs.h"

namespace orb::tool {
namespace {

using frames::Frame;
using frames::FrameRange;

struct FramesOptions {
  CommonOptions common;
  frames::PatternOptions names;
  std::string pattern;
  std::string range;
  size_t chunk = 0;  // 0: all in one
  bool is_missing_wanted = false;
};

// What to put into chunks, and what of the range asked for is not on disk.
struct Plan {
  std::string pattern;
  std::vector<Frame> frames;
  std::vector<Frame> absent;
};

// The range of --frames without what a range in the pattern leaves out; whichever is given alone.
std::optional<FrameRange> wanted_range(const FramesOptions& options,
                                       const std::optional<FrameRange>& in_name) {
  if (options.range.empty()) return in_name;
  const FrameRange range = range_from(options.range);
  if (!in_name) return range;
  FrameRange both;
  for (const Frame frame : range) {
    if (in_name->contains(frame)) both.add(frame);
  }
  return both;
}

std::vector<Frame> gaps_of(const frames::Sequence& sequence) {
  const FrameRange missing = sequence.missing();
  if (missing.count() > frames::kMostFrames) {
    throw Failure(kUsage, sequence.pattern.text() + ": " + std::to_string(missing.count()) +
                              " frames are missing; --frames says of which to speak");
  }
  return missing.frames();
}

Plan plan(const FramesOptions& options) {
  if (options.pattern.empty()) return {"", range_from(options.range).frames(), {}};
  const frames::FramePattern pattern = pattern_from(options.pattern, options.names);
  if (!pattern.has_field()) {
    throw Failure(kUsage,
                  options.pattern + ": no field for the frame number; expecting ####, @@@@, %04d or $F4");
  }
  const std::optional<FrameRange> range = wanted_range(options, pattern.range());
  if (range && options.is_missing_wanted) {
    // Where nothing is there yet, all of the range is missing.
    const std::optional<frames::Sequence> sequence = sequence_if_any(pattern);
    return {pattern.text(), sequence ? frames::choose(*sequence, *range).missing : range->frames(), {}};
  }
  frames::Sequence sequence = sequence_of(pattern);
  Plan result = {sequence.pattern.text(), {}, {}};
  if (!range) {
    result.frames = options.is_missing_wanted ? gaps_of(sequence) : std::move(sequence.frames);
    return result;
  }
  frames::Choice choice = frames::choose(sequence, *range);
  result.frames = std::move(choice.there);
  result.absent = std::move(choice.missing);
  return result;
}

std::vector<std::vector<Frame>> chunks_of(const std::vector<Frame>& all, size_t most) {
  std::vector<std::vector<Frame>> chunks;
  const size_t length = most == 0 ? all.size() : most;
  for (size_t begin = 0; begin < all.size(); begin += length) {
    const auto first = all.begin() + static_cast<std::ptrdiff_t>(begin);
    chunks.emplace_back(first, first + static_cast<std::ptrdiff_t>(std::min(length, all.size() - begin)));
    if (all.size() - begin <= length) break;
  }
  return chunks;
}

Json as_json(const Plan& plan, const std::vector<std::vector<Frame>>& chunks) {
  Json list = Json::array();
  for (const std::vector<Frame>& chunk : chunks) {
    list.push_back({{"range", FrameRange::of(chunk).text()},
                    {"first", chunk.front()},
                    {"last", chunk.back()},
                    {"count", chunk.size()}});
  }
  return {{"pattern", plan.pattern},
          {"count", plan.frames.size()},
          {"not_found", FrameRange::of(plan.absent).text()},
          {"chunks", list}};
}

int run_frames(const FramesOptions& options) {
  if (options.pattern.empty() && (options.range.empty() || options.is_missing_wanted)) {
    throw Failure(kUsage, "a pattern is needed, or --frames without --missing");
  }
  Results results(options.common);
  const Plan found = plan(options);
  if (found.frames.empty()) {
    throw Failure(kNoInput,
                  options.pattern + (options.is_missing_wanted ? ": no frame is missing"
                                                               : ": no frame of the range is there"));
  }
  const std::vector<std::vector<Frame>> chunks = chunks_of(found.frames, options.chunk);
  if (options.common.json) {
    results.text = to_text(as_json(found, chunks));
  } else {
    for (const std::vector<Frame>& chunk : chunks) results.text += FrameRange::of(chunk).text() + "\n";
  }
  results.deliver();
  if (found.absent.empty()) return kDone;
  say(ERR_WARNING, found.pattern + ": " + counted(static_cast<long long>(found.absent.size()), "frame") +
                       " not there: " + FrameRange::of(found.absent).text());
  return kSomeFailed;
}

}  // namespace

Verb add_frames(CLI::App& app) {
  auto options = std::make_shared<FramesOptions>();
  CLI::App* verb = app.add_subcommand("frames", "print the frames of a sequence, in chunks");
  add_common_options(*verb, options->common, "write the chunks to a file");
  verb->add_option("--chunk", options->chunk, "the number of frames in a chunk; default: all in one")
      ->type_name("N")
      ->check(CLI::Range(uint64_t{1}, frames::kMostFrames));
  verb->add_option("--frames", options->range, "only these frames, in this order, such as 1001-1096x2")
      ->type_name("RANGE");
  verb->add_flag("--missing", options->is_missing_wanted, "print the frames that are not there instead");
  add_name_options(*verb, options->names);
  verb->add_option(
      "PATTERN", options->pattern,
      "a sequence on disk, such as shot.####.png; default: no folder is read, all frames of --frames");
  return {verb, &options->common, [options] { return run_frames(*options); }, false};
}

}  // namespace orb::tool
