// Patterns, ranges and file names from a stranger; what is read must print as itself.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "frames/pattern.h"

namespace {

using orb::frames::BadFrames;
using orb::frames::Frame;
using orb::frames::FramePattern;
using orb::frames::FrameRange;

void require(bool holds) {
  if (!holds) std::abort();
}

void read_range(std::string_view text) try {
  const FrameRange range = FrameRange::parse(text);
  require(FrameRange::parse(range.text()) == range);
  int left = 1000;
  for (const Frame frame : range) {
    require(range.contains(frame));
    if (--left == 0) break;
  }
} catch (const BadFrames&) {
}

void read_pattern(std::string_view text) try {
  const FramePattern pattern = FramePattern::parse(text);
  if (!pattern.range()) require(FramePattern::parse(pattern.text()) == pattern);
  if (!pattern.has_field()) return;
  const FrameRange range = FrameRange::parse("-3-5,9");
  const FramePattern again = FramePattern::parse(pattern.canonical(range));
  require(again.prefix() == pattern.prefix() && again.suffix() == pattern.suffix() && again.range() == range);
  for (const Frame frame : {0, 7, -12, 100000}) {
    require(pattern.match(pattern.name(frame).substr(pattern.folder().size())) == frame);
  }
} catch (const BadFrames&) {
}

void split(std::string_view name) {
  const auto parts = orb::frames::split_name(name);
  if (!parts) return;
  require(std::string(parts->prefix) + std::string(parts->number) + std::string(parts->suffix) == name);
  require(orb::frames::frame_from_digits(parts->number) == parts->frame);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  read_range(text);
  read_pattern(text);
  split(text);
  return 0;
}
