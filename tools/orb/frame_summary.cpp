// How the frames of a run ended, in one line.
#include "frame_summary.h"

namespace orb::tool {
namespace {

// "1050,1061-1063" with blanks behind the commas.
std::string spaced(const frames::FrameRange& range) {
  std::string text;
  for (const char c : range.text()) text += c == ',' ? std::string(", ") : std::string(1, c);
  return text;
}

}  // namespace

void FrameSummary::add(size_t end, frames::Frame frame) {
  ++counts_[end];
  frames_[end].add(frame);
}

void FrameSummary::add(size_t end, const frames::FrameRange& range) {
  for (const frames::Frame frame : range) add(end, frame);
}

std::string FrameSummary::text() const {
  std::string text;
  for (size_t i = 0; i < ends_.size(); ++i) {
    if (counts_[i] == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(counts_[i]) + " " + ends_[i].word;
    if (ends_[i].lists_frames) text += " (" + spaced(frames_[i]) + ")";
  }
  return text.empty() ? std::string("0 ") + ends_[0].word : text;
}

Json FrameSummary::json() const {
  Json json = Json::object();
  for (size_t i = 0; i < ends_.size(); ++i) {
    json[ends_[i].word] = {{"count", counts_[i]}, {"frames", frames_[i].text()}};
  }
  return json;
}

}  // namespace orb::tool
