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

constexpr size_t kUsualRoomBytes = 2048;  // names of a hundred characters

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

// What a match works in.
struct Room {
  DigitRun* runs;
  Token** tokens;
  Step* steps;       // one an anchor, and the last without
  uint64_t* good;    // bits, a row an anchor: it stands there and the rest fits behind it
  uint32_t* next;    // of the row made last: the first good place from each place on, end + 1 for none
  uint8_t* reached;  // places where a segment can begin
};

// How much of it.
struct RoomSize {
  size_t token_count;
  size_t anchor_count;
  size_t text_length;

  [[nodiscard]] uint64_t good_words() const { return uint64_t{anchor_count} * (text_length + 1) / 64 + 1; }
  // Gives each part its place in a block and returns the bytes of all; with null only that.
  uint64_t lay_out(char* block, Room& room) const;
};

template <class T>
void place(T*& part, uint64_t count, char* block, uint64_t& bytes) {
  if (block) part = reinterpret_cast<T*>(block + bytes);
  bytes += count * sizeof(T);
}

uint64_t RoomSize::lay_out(char* block, Room& room) const {
  uint64_t bytes = 0;  // the strictest alignment first
  place(room.runs, text_length / 2 + 1, block, bytes);
  place(room.tokens, token_count, block, bytes);
  place(room.steps, anchor_count + 1, block, bytes);
  place(room.good, good_words(), block, bytes);
  place(room.next, text_length + 2, block, bytes);
  place(room.reached, text_length + 1, block, bytes);
  return bytes;
}

class Matcher {
 public:
  // The room is for no fewer tokens and anchors.
  Matcher(std::span<Token*> tokens, const Subject& subject, std::string_view extension, const Room& room);

  // Whether the tokens fit, with their matches set.
  [[nodiscard]] bool match();
  // After a match that failed: whether the frame lay before what failed.
  [[nodiscard]] bool frame_lay_before_failure();

 private:
  [[nodiscard]] std::span<Token* const> segment(size_t step) const {
    return tokens_.subspan(room_.steps[step].first, room_.steps[step].anchor - room_.steps[step].first);
  }
  [[nodiscard]] std::string_view anchor_text(size_t step) const {
    const Token& anchor = *tokens_[room_.steps[step].anchor];
    if (anchor.kind == ORB_TOKEN_EXTENSION) return extension_;
    return {anchor.text, static_cast<size_t>(anchor.length)};
  }
  [[nodiscard]] bool stands_at(size_t step, size_t place) const;
  [[nodiscard]] bool fits_from(size_t step, size_t place) const;
  [[nodiscard]] bool is_good(size_t step, size_t place) const {
    const size_t bit = step * (end_ + 1) + place;
    return room_.good[bit / 64] >> (bit % 64) & 1;
  }
  void find_good_places(size_t step);
  void set_matches();
  void advance_reached(size_t step);

  std::span<Token*> tokens_;
  Subject subject_;
  std::string_view extension_;
  Room room_;
  size_t end_;  // the place behind the base name
  size_t anchor_count_ = 0;
};

Matcher::Matcher(std::span<Token*> tokens, const Subject& subject, std::string_view extension,
                 const Room& room)
    : tokens_(tokens), subject_(subject), extension_(extension), room_(room), end_(subject.text.size()) {
  size_t first = 0;
  for (size_t i = 0; i < tokens_.size(); ++i) {
    if (!is_anchor(*tokens_[i])) continue;
    room_.steps[anchor_count_++] = {first, i};
    first = i + 1;
  }
  room_.steps[anchor_count_] = {first, tokens_.size()};
  std::fill_n(room_.good, RoomSize{tokens_.size(), anchor_count_, end_}.good_words(), 0);
  std::fill_n(room_.reached, end_ + 1, 0);
}

bool Matcher::stands_at(size_t step, size_t place) const {
  const std::string_view text = subject_.text;
  const std::string_view anchor = anchor_text(step);
  if (!text.substr(place).starts_with(anchor)) return false;
  if (tokens_[room_.steps[step].anchor]->kind != ORB_TOKEN_EXTENSION) return true;
  const size_t behind = place + anchor.size();
  return (place == 0 || bounds_extension(text[place - 1])) &&
         (behind == end_ || bounds_extension(text[behind]));
}

// Whether this step's segment and all behind it fit the text from a place on. For the step made last.
bool Matcher::fits_from(size_t step, size_t place) const {
  if (step == anchor_count_) return divide_segment(segment(step), subject_, place, end_, true);
  if (segment(step).empty()) return is_good(step, place);
  for (size_t at = room_.next[place]; at <= end_; at = room_.next[at + 1]) {
    if (divide_segment(segment(step), subject_, place, at, false)) return true;
  }
  return false;
}

void Matcher::find_good_places(size_t step) {
  const std::string_view text = subject_.text;
  const std::string_view anchor = anchor_text(step);
  size_t indexed = 0;  // from here on the next places are still those of the step behind, which are asked for
  for (size_t place = text.find(anchor); place != std::string_view::npos;
       place = text.find(anchor, place + 1)) {
    if (!stands_at(step, place) || !fits_from(step + 1, place + anchor.size())) continue;
    const size_t bit = step * (end_ + 1) + place;
    room_.good[bit / 64] |= uint64_t{1} << (bit % 64);
    std::fill(room_.next + indexed, room_.next + place + 1, static_cast<uint32_t>(place));
    indexed = place + 1;
  }
  std::fill(room_.next + indexed, room_.next + end_ + 2, static_cast<uint32_t>(end_ + 1));
}

// For tokens that fit: takes the leftmost good place of every anchor.
void Matcher::set_matches() {
  size_t begin = 0;
  for (size_t step = 0; step < anchor_count_; ++step) {
    size_t place = begin;
    while (!is_good(step, place) || !divide_segment(segment(step), subject_, begin, place, false)) ++place;
    Token& anchor = *tokens_[room_.steps[step].anchor];
    anchor.match = subject_.text.data() + place;
    anchor.match_length = static_cast<int32_t>(anchor_text(step).size());
    begin = place + anchor_text(step).size();
  }
  (void)divide_segment(segment(anchor_count_), subject_, begin, end_, true);
}

bool Matcher::match() {
  // A name has an anchor behind it, or does not fit.
  if (std::ranges::any_of(segment(anchor_count_), is_name)) return false;
  for (size_t step = anchor_count_; step-- > 0;) find_good_places(step);
  if (!fits_from(0, 0)) return false;
  set_matches();
  return true;
}

// From the places where a segment without numbers can begin to those where the next one can.
void Matcher::advance_reached(size_t step) {
  uint8_t* reached = room_.reached;
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
  uint8_t* reached = room_.reached;
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

// The runs of digits of a text, into room for one in two characters and one more.
std::span<const DigitRun> find_runs(std::string_view text, DigitRun* runs) {
  size_t count = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (!is_digit(text[i])) continue;
    const size_t first = i;
    while (i < text.size() && is_digit(text[i])) ++i;
    runs[count++] = {first, i};
  }
  return {runs, count};
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
  const auto anchor_count = static_cast<size_t>(std::ranges::count_if(tokens, is_anchor));
  const RoomSize size{tokens.size(), anchor_count, base_name.size()};
  Room room = {};
  Workspace<kUsualRoomBytes> memory;
  auto* const block = static_cast<char*>(memory.reserve(size.lay_out(nullptr, room)));
  if (!block) return ORB_E_MEMORY;
  size.lay_out(block, room);
  const Subject subject{base_name, find_runs(base_name, room.runs)};
  const std::span<Token*> all(room.tokens, tokens.size());
  std::ranges::transform(tokens, all.begin(), [](Token& token) { return &token; });

  Matcher whole(all, subject, extension, room);
  if (whole.match()) return 0;
  if (!whole.frame_lay_before_failure()) return ORB_E_NAME_FIT;
  std::ranges::for_each(tokens, clear_match);
  Matcher frameless(without_frame(all), subject, extension, room);
  return frameless.match() ? 0 : ORB_E_NAME_FIT;
}

}  // namespace orb::naming
