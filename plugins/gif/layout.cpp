#include "layout.h"

#include <algorithm>
#include <span>

namespace orb::gif {
namespace {

std::span<const Frame> frames_of(const Contents& contents) {
  return {contents.frames, static_cast<size_t>(contents.frame_count)};
}

bool covers(const Contents& contents, const Frame& frame) {
  const Rect rect = on_screen(contents, frame);
  return rect.width == contents.width && rect.height == contents.height;
}

bool is_ramp(const Colours& colours) {
  for (int32_t i = 0; i < colours.count(); ++i) {
    const uint8_t grey = grey_of(i, colours.bits);
    const uint8_t* rgb = colours.rgb[i];
    if (rgb[0] != grey || rgb[1] != grey || rgb[2] != grey) return false;
  }
  return true;
}

// The transparent index that all frames agree on; -1 when they do not.
int32_t common_transparent(const Contents& contents) {
  const int32_t first = contents.frames[0].transparent;
  const auto frames = frames_of(contents);
  const bool agree = std::all_of(frames.begin(), frames.end(),
                                 [first](const Frame& frame) { return frame.transparent == first; });
  return agree ? first : -1;
}

}  // namespace

Rect on_screen(const Contents& contents, const Frame& frame) {
  const int32_t width = std::min<int32_t>(frame.width, contents.width - frame.left);
  const int32_t height = std::min<int32_t>(frame.height, contents.height - frame.top);
  if (width <= 0 || height <= 0) return {};
  return {frame.left, frame.top, width, height};
}

bool hides_all(const Contents& contents, const Frame& frame) {
  return covers(contents, frame) && frame.transparent < 0;
}

bool find_keys(Contents& contents) {
  bool is_full = false;  // before the frame: every pixel was drawn
  bool is_empty = true;  // before the frame: none was
  bool can_be_bare = false;
  int32_t key = 0;
  for (int32_t i = 0; i < contents.frame_count; ++i) {
    Frame& frame = contents.frames[i];
    const bool is_opaque = hides_all(contents, frame);
    if (is_empty || (is_opaque && frame.disposal != kRestore)) key = i;
    frame.key = key;
    const bool is_drawn_full = is_full || is_opaque;
    can_be_bare = can_be_bare || !is_drawn_full;
    if (frame.disposal == kRestore) continue;
    is_empty = frame.disposal == kClear && covers(contents, frame);
    is_full = is_drawn_full && (frame.disposal != kClear || on_screen(contents, frame).area() == 0);
  }
  return can_be_bare;
}

bool can_give_indices(const Contents& contents, bool can_be_bare) {
  if (!contents.is_one_palette) return false;
  if (!can_be_bare) return true;
  const int32_t transparent = common_transparent(contents);
  return transparent >= 0 && transparent < contents.colours.count();
}

Layout choose_layout(const Contents& contents, bool can_be_bare, Palette wanted) {
  Layout layout = {View::colours, can_be_bare, can_be_bare, 0, 8};
  if (!can_give_indices(contents, can_be_bare)) return layout;
  const bool is_grey = !can_be_bare && is_ramp(contents.colours);
  if (wanted != Palette::indices && !is_grey) return layout;
  layout.view = wanted == Palette::indices ? View::indices : View::grey;
  layout.has_matte = false;
  layout.bits = contents.colours.bits;
  if (can_be_bare) layout.bare = static_cast<uint8_t>(contents.frames[0].transparent);
  return layout;
}

}  // namespace orb::gif
