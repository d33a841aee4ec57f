// The grammar of a name syntax, the one place that knows it.
#include <algorithm>

#include "orbbase/naming/internal.h"

namespace orb::naming {
namespace {

size_t run_length(std::string_view text, bool (*belongs)(char)) {
  return static_cast<size_t>(std::find_if_not(text.begin(), text.end(), belongs) - text.begin());
}

bool is_frame_character(char c) { return c == '#'; }
bool is_separator_character(char c) { return is_punctuation(c) && c != '/' && c != '#'; }

}  // namespace

bool begins_with_keyword(std::string_view text, std::string_view keyword) {
  return text.size() >= keyword.size() &&
         std::equal(keyword.begin(), keyword.end(), text.begin(),
                    [](char wanted, char c) { return wanted == to_small(c); });
}

bool SyntaxWalk::keyword(Piece& piece) {
  size_t length = 0;
  while (begins_with_keyword(rest_.substr(length), kName)) length += kName.size();
  if (length > 0) {
    piece = {ORB_TOKEN_NAME, length};
    has_name_ = true;
    return true;
  }
  if (has_extension_ || !begins_with_keyword(rest_, kExtension)) return false;
  piece = {ORB_TOKEN_EXTENSION, kExtension.size()};
  has_extension_ = true;
  return true;
}

bool SyntaxWalk::next(Piece& piece) {
  piece = {ORB_TOKEN_END, 0};
  if (rest_.empty()) return has_frame_ || has_name_;
  if (rest_.front() == '#') {
    if (has_frame_) return false;
    piece = {ORB_TOKEN_FRAME, run_length(rest_, is_frame_character)};
    has_frame_ = true;
  } else if (is_separator_character(rest_.front())) {
    piece = {ORB_TOKEN_SEPARATOR, run_length(rest_, is_separator_character)};
  } else if (!keyword(piece)) {
    return false;
  }
  rest_.remove_prefix(piece.length);
  return true;
}

}  // namespace orb::naming
