// The name of a sequence: a path with one field for the frame number in its last component.
//
//   ####, @@@@   as wide as the run          %04d, $F4   as wide as the number says
//   #, @         the width found on disk     %d, $F      no padding
//
// A width is the least number of characters, the sign included, as of printf: frame 10000 of "####" is "10000",
// frame -5 is "-005". A lone "@" is a field only between punctuation, "$F" only with no letter behind it. In a
// pattern with "%04d", "%%" stands for "%". A range may stand in brackets directly before the field:
// "shot.[1001-1049,1051-1096x2]####.exr"; then this is the field, whatever else looks like one. Folders are
// taken as they stand.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "range.h"

namespace orb::frames {

// No number that is longer is taken for a frame, and no wider field is accepted.
inline constexpr size_t kMostWidth = 32;
inline constexpr size_t kUsualWidth = 4;

// How a field was written.
enum class Style : uint8_t { hash, at, percent, dollar };

struct PatternOptions {
  bool is_literal = false;  // --literal: the name has no field, whatever it looks like
  size_t pad = 0;           // --pad N: the width, whatever the field says; 0: not given
};

// The number in a file's name: the last run of digits before the extension (the text behind the last ".", unless
// it is all digits), with a "-" before it that has "." or "_" or nothing before it.
struct NameParts {
  std::string_view prefix;
  std::string_view number;  // the digits, with their sign
  std::string_view suffix;
  Frame frame = 0;
};

// Takes a name without folder apart; nothing when it holds no number, or one that is no Frame or too long.
[[nodiscard]] std::optional<NameParts> split_name(std::string_view name);

// Reads digits, with or without "-", all of the text, as a Frame; "-0" is none.
[[nodiscard]] std::optional<Frame> frame_from_digits(std::string_view text);

class FramePattern {
 public:
  // Throws BadFrames: an empty text, two fields, a range before the field that is not closed or not valid, a width
  // over kMostWidth.
  [[nodiscard]] static FramePattern parse(std::string_view text, const PatternOptions& options = {});

  // "####" of that width between prefix and suffix. The prefix may begin with folders.
  [[nodiscard]] static FramePattern of(std::string prefix, size_t width, std::string suffix);

  // Without a field the pattern is one file's name, which is all in prefix().
  [[nodiscard]] bool has_field() const { return has_field_; }
  [[nodiscard]] Style style() const { return style_; }
  [[nodiscard]] std::string folder() const;  // with its final "/"; "" when the name has none
  [[nodiscard]] const std::string& prefix() const { return prefix_; }  // all before the field, folder too
  [[nodiscard]] const std::string& suffix() const { return suffix_; }
  [[nodiscard]] const std::optional<FrameRange>& range() const { return range_; }  // in brackets

  // A lone "#" or "@" stays open until a width is set; until then it counts as kUsualWidth.
  [[nodiscard]] bool is_width_open() const { return is_width_open_; }
  [[nodiscard]] size_t width() const { return width_; }
  void set_width(size_t width);

  // The path of a frame; of a pattern without a field its name. The second puts it into out, whose memory it
  // reuses.
  [[nodiscard]] std::string name(Frame frame) const;
  void name(Frame frame, std::string& out) const;

  // What stands for the field in a name without folder; "" when the name is not of the pattern. The width is not
  // looked at.
  [[nodiscard]] std::string_view number_in(std::string_view file_name) const;

  // The frame whose name, without folder, is this one. Nothing when there is none: "shot.00012.exr" does not
  // belong to "shot.####.exr", "shot.12345.exr" does.
  [[nodiscard]] std::optional<Frame> match(std::string_view file_name) const;

  // In the style that was typed, without a range. parse(text()) is the same pattern without its range, unless a
  // range was what told the field from something else that looks like one; a "#" whose width 1 was set is open.
  [[nodiscard]] std::string text() const;

  // In "####", or in "%04d" where what follows would be misread, with a range in brackets. Parsing this gives the
  // same prefix, suffix and range, and the same width, except that a width of 1 becomes open. Without a field the
  // name.
  [[nodiscard]] std::string canonical(const FrameRange& frames) const;

  bool operator==(const FramePattern&) const = default;

 private:
  [[nodiscard]] std::string in_style(Style style, const std::string& range) const;

  bool has_field_ = false;
  bool is_width_open_ = false;
  Style style_ = Style::hash;
  size_t width_ = 0;
  std::string prefix_;
  std::string suffix_;
  std::optional<FrameRange> range_;
};

}  // namespace orb::frames
