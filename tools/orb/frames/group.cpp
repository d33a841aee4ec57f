// Sorting numbers into sequences by their width.
#include "group.h"

#include <algorithm>

#include "pattern.h"

namespace orb::frames {
namespace {

void sort_once_each(std::vector<Frame>& frames) {
  if (!std::is_sorted(frames.begin(), frames.end())) std::sort(frames.begin(), frames.end());
  frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
}

}  // namespace

WrittenFrame written_frame(Frame frame, std::string_view number) {
  const size_t sign = number.front() == '-' ? 1 : 0;
  return {frame, static_cast<uint8_t>(number.size()), number[sign] == '0' && number.size() > sign + 1};
}

std::vector<WidthGroup> group_by_width(const std::vector<WrittenFrame>& numbers) {
  // width_of[n]: the width of a number of n characters without padding; 0: none that is known by padding.
  size_t width_of[kMostWidth + 1] = {};
  size_t shortest_free = kMostWidth + 1;
  for (const WrittenFrame& number : numbers) {
    if (number.is_padded) width_of[number.length] = number.length;
  }
  for (size_t n = 1; n <= kMostWidth; ++n) {
    if (width_of[n] == 0) width_of[n] = width_of[n - 1];
  }
  for (const WrittenFrame& number : numbers) {
    if (width_of[number.length] == 0) shortest_free = std::min<size_t>(shortest_free, number.length);
  }
  std::vector<Frame> frames[kMostWidth + 1];
  for (const WrittenFrame& number : numbers) {
    const size_t width = width_of[number.length];
    frames[width == 0 ? shortest_free : width].push_back(number.frame);
  }
  std::vector<WidthGroup> groups;
  for (size_t width = 1; width <= kMostWidth; ++width) {
    if (frames[width].empty()) continue;
    sort_once_each(frames[width]);
    groups.push_back({width, std::move(frames[width])});
  }
  return groups;
}

}  // namespace orb::frames
