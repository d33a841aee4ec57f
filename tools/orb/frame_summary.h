// How the frames of a run ended, in one line: "93 written, 2 missing (1050, 1061), 1 failed (1077)".
#pragma once

#include <span>
#include <string>
#include <vector>

#include "frames/range.h"
#include "json.h"

namespace orb::tool {

struct FrameEnd {
  const char* word;
  bool lists_frames;  // by number, since they are worth a look
};

class FrameSummary {
 public:
  // The ends in the order of the line. They must stay.
  explicit FrameSummary(std::span<const FrameEnd> ends)
      : ends_(ends), counts_(ends.size()), frames_(ends.size()) {}

  // One frame more, or all of a range. end is an index into the ends.
  void add(size_t end, frames::Frame frame);
  void add(size_t end, const frames::FrameRange& range);

  [[nodiscard]] uint64_t count(size_t end) const { return counts_[end]; }
  [[nodiscard]] std::string text() const;
  // Count and range of each end.
  [[nodiscard]] Json json() const;

 private:
  std::span<const FrameEnd> ends_;
  std::vector<uint64_t> counts_;
  std::vector<frames::FrameRange> frames_;
};

}  // namespace orb::tool
