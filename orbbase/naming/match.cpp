// Matches a base name against the tokens of a syntax: anchored on the separators and the extension, leftmost
// places first, with every later place tried when the rest does not fit.
//
// Whether the rest of the tokens fits behind an anchor depends on the anchor's place alone, so the places are
// worked out from the last anchor back to the first, once each; that bounds what a plain walk back and forth
// would not.
#include <algorithm>
#include <cstring>

#include "orbbase/naming/internal.h"

namespace orb::naming {
namespace {

using Token = ORB_NAME_TOKEN;

// An anchor and the segment of tokens before it.
struct Step {
  size_t first;   // the segment's first token
  size_t anchor;  // the anchor's index; of the last step, which has none, the end of the tokens
};

bool is_anchor(const Token& token) {
  return token.kind == ORB_TOKEN_SEPARATOR || token.kind == ORB_TOKEN_EXTENSION;
}

bool is_name(const Token* token) { return token->kind == ORB_TOKEN_NAME; }
bool is_frame(const Token* token) { return token->kind == ORB_TOKEN_FRAME; }

bool bounds_extension(char c) { return is_punctuation(c) && c != '_'; }

class Matcher {
 public:
  Matcher(std::span<Token*> tokens, const Subject& subject, std::string_view extension)
      : tokens_(tokens), subject_(subject), extension_(extension), end_(subject.text.size()) {}

  // False when memory ran out. Must have succeeded before the others are called.
  [[nodiscard]] bool prepare();
  // Whether the tokens fit, with their matches set.
  [[nodiscard]] bool match();
  // After a match that failed: whether the frame lay before what failed.
  [[nodiscard]] bool frame_lay_before_failure();

 private:
  [[nodiscard]] std::span<Token* const> segment(size_t step) const {
    return tokens_.subspan(steps_.get()[step].first, steps_.get()[step].anchor - steps_.get()[step].first);
  }
  [[nodiscard]] std::string_view anchor_text(size_t step) const {
    const Token& anchor = *tokens_[steps_.get()[step].anchor];
    if (anchor.kind == ORB_TOKEN_EXTENSION) return extension_;
    return {anchor.text, static_cast<size_t>(anchor.length)};
  }
  [[nodiscard]] bool stands_at(size_t step, size_t place) const;
  [[nodiscard]] bool fits_from(size_t step, size_t place) const;
  [[nodiscard]] bool is_good(size_t step, size_t place) const {
    const size_t bit = step * (end_ + 1) + place;
    return good_.get()[bit / 64] >> (bit % 64) & 1;
  }
  void find_good_places(size_t step);
  void index_good_places(size_t step);
  void set_matches();
  void advance_reached(size_t step);

  std::span<Token*> tokens_;
  Subject subject_;
  std::string_view extension_;
  size_t end_;  // the place behind the base name
  size_t anchor_count_ = 0;
  owned<Step> steps_;     // one an anchor, and the last without
  owned<uint64_t> good_;  // bits, a row an anchor: it stands there and the rest fits behind it
  owned<uint32_t> next_;  // of the row made last: the first good place from each place on, end_ + 1 for none
  owned<uint8_t> reached_;  // places where a segment can begin
};

bool Matcher::prepare() {
  anchor_count_ = static_cast<size_t>(
      std::ranges::count_if(tokens_, [](const Token* token) { return is_anchor(*token); }));
  steps_ = make_zeroed<Step>(anchor_count_ + 1);
  good_ = make_zeroed<uint64_t>(uint64_t{anchor_count_} * (end_ + 1) / 64 + 1);
  next_ = make_zeroed<uint32_t>(end_ + 2);
  reached_ = make_zeroed<uint8_t>(end_ + 1);
  if (!steps_ || !good_ || !next_ || !reached_) return false;
  size_t first = 0;
  size_t step = 0;
  for (size_t i = 0; i < tokens_.size(); ++i) {
    if (!is_anchor(*tokens_[i])) continue;
    steps_.get()[step++] = {first, i};
    first = i + 1;
  }
  steps_.get()[step] = {first, tokens_.size()};
  return true;
}

bool Matcher::stands_at(size_t step, size_t place) const {
  const std::string_view text = subject_.text;
  const std::string_view anchor = anchor_text(step);
  if (!text.substr(place).starts_with(anchor)) return false;
  if (tokens_[steps_.get()[step].anchor]->kind != ORB_TOKEN_EXTENSION) return true;
  const size_t behind = place + anchor.size();
  return (place == 0 || bounds_extension(text[place - 1])) &&
         (behind == end_ || bounds_extension(text[behind]));
}

// Whether this step's segment and all behind it fit the text from a place on. For the step made last.
bool Matcher::fits_from(size_t step, size_t place) const {
  if (step == anchor_count_) return divide_segment(segment(step), subject_, place, end_, true);
  if (segment(step).empty()) return is_good(step, place);
  for (size_t at = next_.get()[place]; at <= end_; at = next_.get()[at + 1]) {
    if (divide_segment(segment(step), subject_, place, at, false)) return true;
  }
  return false;
}

void Matcher::find_good_places(size_t step) {
  const size_t length = anchor_text(step).size();
  for (size_t place = 0; place <= end_; ++place) {
    if (!stands_at(step, place) || !fits_from(step + 1, place + length)) continue;
    const size_t bit = step * (end_ + 1) + place;
    good_.get()[bit / 64] |= uint64_t{1} << (bit % 64);
  }
}

void Matcher::index_good_places(size_t step) {
  uint32_t next = static_cast<uint32_t>(end_ + 1);
  next_.get()[end_ + 1] = next;
  for (size_t place = end_ + 1; place-- > 0;) {
    if (is_good(step, place)) next = static_cast<uint32_t>(place);
    next_.get()[place] = next;
  }
}

// For tokens that fit: takes the leftmost good place of every anchor.
void Matcher::set_matches() {
  size_t begin = 0;
  for (size_t step = 0; step < anchor_count_; ++step) {
    size_t place = begin;
    while (!is_good(step, place) || !divide_segment(segment(step), subject_, begin, place, false)) ++place;
    Token& anchor = *tokens_[steps_.get()[step].anchor];
    anchor.match = subject_.text.data() + place;
    anchor.match_length = static_cast<int32_t>(anchor_text(step).size());
    begin = place + anchor_text(step).size();
  }
  (void)divide_segment(segment(anchor_count_), subject_, begin, end_, true);
}

bool Matcher::match() {
  // A name has an anchor behind it, or does not fit.
  if (std::ranges::any_of(segment(anchor_count_), is_name)) return false;
  for (size_t step = anchor_count_; step-- > 0;) {
    find_good_places(step);
    index_good_places(step);
  }
  if (!fits_from(0, 0)) return false;
  set_matches();
  return true;
}

// From the places where a segment without numbers can begin to those where the next one can.
void Matcher::advance_reached(size_t step) {
  uint8_t* reached = reached_.get();
  const bool is_tight = segment(step).empty();
  const size_t leftmost = static_cast<size_t>(std::find(reached, reached + end_ + 1, 1) - reached);
  // Backwards: an anchor's end is never before its start.
  for (size_t place = end_ + 1; place-- > 0;) {
    const bool may_stand = is_tight ? reached[place] != 0 : place >= leftmost;
    reached[place] = 0;
    if (may_stand && stands_at(step, place)) reached[place + anchor_text(step).size()] = 1;
  }
}

bool Matcher::frame_lay_before_failure() {
  if (std::ranges::none_of(tokens_, is_frame)) return false;
  uint8_t* reached = reached_.get();
  reached[0] = 1;
  size_t step = 0;
  for (; std::ranges::none_of(segment(step), is_frame); ++step) advance_reached(step);
  for (size_t place = 0; place <= end_; ++place) {
    if (!reached[place]) continue;
    // At the end of the syntax a segment that starts with a digit is a frame gone wrong, not a missing one.
    if (step < anchor_count_ || place == end_ || !is_digit(subject_.text[place])) return true;
  }
  return false;
}

// The runs of digits of a text; their number in count_out. Null when memory ran out.
owned<DigitRun> find_runs(std::string_view text, size_t& count_out) {
  owned<DigitRun> runs = make_zeroed<DigitRun>(text.size() / 2 + 1);
  count_out = 0;
  for (size_t i = 0; runs && i < text.size(); ++i) {
    if (!is_digit(text[i])) continue;
    const size_t first = i;
    while (i < text.size() && is_digit(text[i])) ++i;
    runs.get()[count_out++] = {first, i};
  }
  return runs;
}

// Takes the frame, and a separator directly before it, out of the tokens to be matched.
std::span<Token*> without_frame(std::span<Token*> tokens) {
  const auto frame = std::ranges::find_if(tokens, is_frame);
  const bool has_separator = frame != tokens.begin() && frame[-1]->kind == ORB_TOKEN_SEPARATOR;
  const auto kept_end = std::copy(frame + 1, tokens.end(), has_separator ? frame - 1 : frame);
  return {tokens.begin(), kept_end};
}

void clear_match(Token& token) {
  token.field = 0;
  token.match = nullptr;
  token.match_length = 0;
}

// Whether the anchors that every attempt needs are longer together than the text.
bool anchors_exceed(std::span<const Token> tokens, std::string_view text, std::string_view extension) {
  uint64_t length = 0;
  for (size_t i = 0; i < tokens.size(); ++i) {
    const bool may_go = i + 1 < tokens.size() && tokens[i + 1].kind == ORB_TOKEN_FRAME;
    if (tokens[i].kind == ORB_TOKEN_SEPARATOR && !may_go) length += static_cast<uint64_t>(tokens[i].length);
    if (tokens[i].kind == ORB_TOKEN_EXTENSION) length += extension.size();
  }
  return length > text.size();
}

}  // namespace

int32_t match_name(std::span<Token> tokens, std::string_view base_name, std::string_view extension) {
  if (anchors_exceed(tokens, base_name, extension)) return ORB_E_NAME_FIT;
  size_t run_count = 0;
  const owned<DigitRun> runs = find_runs(base_name, run_count);
  const owned<Token*> pointers = make_zeroed<Token*>(tokens.size() + 1);
  if (!runs || !pointers) return ORB_E_MEMORY;
  const Subject subject{base_name, {runs.get(), run_count}};
  for (size_t i = 0; i < tokens.size(); ++i) pointers.get()[i] = &tokens[i];
  const std::span<Token*> all(pointers.get(), tokens.size());

  Matcher whole(all, subject, extension);
  if (!whole.prepare()) return ORB_E_MEMORY;
  if (whole.match()) return 0;
  if (!whole.frame_lay_before_failure()) return ORB_E_NAME_FIT;
  std::ranges::for_each(tokens, clear_match);
  Matcher frameless(without_frame(all), subject, extension);
  if (!frameless.prepare()) return ORB_E_MEMORY;
  return frameless.match() ? 0 : ORB_E_NAME_FIT;
}

}  // namespace orb::naming
