// What lies in a folder, as sequences. One read of the folder, no look at the single files.
#pragma once

#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "pattern.h"

namespace orb::frames {

// Files whose names differ in the frame number alone and are numbers of one width. 0001 to 9999 and 10000 are of
// one width, 1 and 01 are not.
struct Sequence {
  FramePattern pattern;       // in "####", with the folder as it was given
  std::vector<Frame> frames;  // ascending, each once, at least one

  [[nodiscard]] FrameRange range() const { return FrameRange::of(frames); }
  [[nodiscard]] FrameRange missing() const;  // between the first and the last; not bounded by kMostFrames
  [[nodiscard]] bool contains(Frame frame) const;
  [[nodiscard]] std::string text() const { return pattern.canonical(range()); }
};

// Names are with the folder as it was given, except that "" is the working folder. All in order of name, numbers
// in names by value. Hidden files are left out.
struct Listing {
  std::vector<Sequence> sequences;  // of two frames or more
  std::vector<std::string> files;   // all others
  std::vector<std::string> folders;
};

// Folders are those that the folder itself says are (a link to one is a file here). Throws std::system_error when
// the folder cannot be read to its end.
[[nodiscard]] Listing list_folder(const std::string& folder);

// The frames of a pattern with a field that lie on disk, however few, whatever its range. An open width becomes the
// one of which most frames are there. The pattern keeps its style and its range. Nothing when there is none.
// Hidden files and folders of such a name count, too: whoever opens them learns what they are. Throws
// std::system_error when the folder cannot be read; a folder that does not exist holds none.
[[nodiscard]] std::optional<Sequence> find_sequence(const FramePattern& pattern);

// The frames of a range that are in a sequence, and those that are not; both in the range's order, each once.
struct Choice {
  std::vector<Frame> there;
  std::vector<Frame> missing;
};
[[nodiscard]] Choice choose(const Sequence& sequence, const FrameRange& range);

// The canonical text of the sequence in the pattern's folder whose name is most like the pattern's; "" when there
// is no sequence or no such folder.
[[nodiscard]] std::string nearest_sequence(const FramePattern& pattern);

// Order by name in which runs of digits compare as numbers: "shot.9" before "shot.10".
[[nodiscard]] bool is_before(std::string_view a, std::string_view b);

}  // namespace orb::frames
