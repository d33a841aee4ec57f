// Divides the text between two anchors among the tokens that stand between them.
#include <algorithm>
#include <charconv>

#include "orbbase/naming/internal.h"

namespace orb::naming {
namespace {

bool is_number(const ORB_NAME_TOKEN* token) {
  return token->kind == ORB_TOKEN_FRAME || token->kind == ORB_TOKEN_FIELD_COUNT;
}

void set_match(ORB_NAME_TOKEN& token, const Subject& subject, size_t first, size_t end) {
  token.field = 0;
  token.match = subject.text.data() + first;
  token.match_length = static_cast<int32_t>(end - first);
}

// The runs of digits between two places, neither of which lies inside one.
std::span<const DigitRun> runs_between(const Subject& subject, size_t first, size_t end) {
  const auto from = std::ranges::lower_bound(subject.runs, first, {}, &DigitRun::first);
  const auto to = std::ranges::lower_bound(from, subject.runs.end(), end, {}, &DigitRun::first);
  return {from, to};
}

// The field that a letter behind the last frame stands for, 0 for any other text.
int32_t field_from_text(std::string_view text) {
  if (text == "e") return 2;
  return text == "o" ? 3 : 0;
}

bool take_number(ORB_NAME_TOKEN& token, const Subject& subject, const DigitRun& run) {
  int32_t number = 0;
  const std::string_view digits = subject.text.substr(run.first, run.end - run.first);
  if (token.kind == ORB_TOKEN_FRAME && !number_from_digits(digits, number)) return false;
  set_match(token, subject, run.first, run.end);
  return true;
}

}  // namespace

bool number_from_digits(std::string_view digits, int32_t& number) {
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return result.ec == std::errc{} && result.ptr == digits.data() + digits.size();
}

bool divide_segment(std::span<ORB_NAME_TOKEN* const> segment, const Subject& subject, size_t first,
                    size_t end, bool ends_syntax) {
  const auto numbers = static_cast<size_t>(std::ranges::count_if(segment, is_number));
  const auto runs = runs_between(subject, first, end);
  if (numbers > runs.size()) return false;
  // The last runs; but the first where no name stands before them that could take the text.
  const bool begins_with_name = !segment.empty() && segment.front()->kind == ORB_TOKEN_NAME;
  size_t run = begins_with_name ? runs.size() - numbers : 0;
  ORB_NAME_TOKEN* name = nullptr;  // takes what lies between at and the next number
  size_t at = first;
  for (ORB_NAME_TOKEN* token : segment) {
    if (!is_number(token)) {
      set_match(*token, subject, at, at);
      if (!name) name = token;
      continue;
    }
    const DigitRun& digits = runs[run++];
    if (name) set_match(*name, subject, at, digits.first);
    if (!name && at != digits.first) return false;
    if (!take_number(*token, subject, digits)) return false;
    name = nullptr;
    at = digits.end;
  }
  if (name) set_match(*name, subject, at, end);
  if (name || at == end) return true;
  if (!ends_syntax || segment.empty() || segment.back()->kind != ORB_TOKEN_FRAME) return false;
  segment.back()->field = field_from_text(subject.text.substr(at, end - at));
  return segment.back()->field != 0;
}

}  // namespace orb::naming
