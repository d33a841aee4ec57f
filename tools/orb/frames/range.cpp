// Ranges: reading, going through them, and the canonical form.
#include "range.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <unordered_set>

namespace orb::frames {
namespace {

using Kind = FrameRange::Kind;
using Item = FrameRange::Item;

int64_t distance(int64_t first, int64_t last) { return first < last ? last - first : first - last; }
int64_t length_of(const Item& item) { return distance(item.first, item.last); }
int64_t direction_of(const Item& item) { return item.first <= item.last ? 1 : -1; }

uint64_t count_of(const Item& item) {
  const int64_t length = length_of(item);
  switch (item.kind) {
    case Kind::step:
      return static_cast<uint64_t>(length / distance(0, item.number) + 1);
    case Kind::all_but:
      return static_cast<uint64_t>(length - length / item.number);
    case Kind::stagger:
      break;
  }
  return static_cast<uint64_t>(length + 1);
}

bool is_single(const Item& item) { return item.first == item.last; }
bool is_pair(const Item& item) { return item.last - int64_t{item.first} == item.number && !is_single(item); }
bool is_adjacent(const Item& item) { return item.number == 1 || item.number == -1; }

std::string quoted(std::string_view text) {
  constexpr size_t kShown = 60;
  return "\"" + std::string(text.substr(0, kShown)) + (text.size() > kShown ? "...\"" : "\"");
}

// One item as it is written.
struct Written {
  int64_t first = 0;
  int64_t last = 0;
  Kind kind = Kind::step;
  int64_t number = 1;
};

class ItemReader {
 public:
  explicit ItemReader(std::string_view item) : item_(item), rest_(item) {}

  Written read() {
    Written written;
    written.first = written.last = frame();
    if (rest_.empty()) return written;
    if (!take("-")) fail("expecting a-b, a-bxN, a-byN or a-b:N");
    written.last = frame();
    if (rest_.empty()) return written;
    written.kind = kind();
    written.number = number();
    if (!rest_.empty()) fail("expecting nothing more");
    if (written.number == 0) fail("a step of 0");
    if (written.number < 0) fail("a step below 0; write the range backwards");
    return written;
  }

 private:
  [[noreturn]] void fail(const std::string& why) const {
    throw BadFrames(quoted(item_) + " is no range of frames: " + why);
  }

  bool take(std::string_view word) {
    if (!rest_.starts_with(word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }

  Kind kind() {
    if (take("x")) return Kind::step;
    if (take("by")) return Kind::all_but;
    if (take(":")) return Kind::stagger;
    fail("expecting xN, byN or :N behind a-b");
  }

  int64_t number() {
    int64_t value = 0;
    const auto [end, problem] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
    if (problem == std::errc::result_out_of_range) fail("a number that is too large");
    if (problem != std::errc()) fail("a number is missing");
    rest_.remove_prefix(static_cast<size_t>(end - rest_.data()));
    return value;
  }

  int64_t frame() {
    const int64_t value = number();
    if (value < std::numeric_limits<Frame>::min() || value > std::numeric_limits<Frame>::max()) {
      fail("a frame beyond 32 bits");
    }
    return value;
  }

  std::string_view item_;
  std::string_view rest_;
};

constexpr std::string_view kBlanks = " \t\n";

// The text up to the next comma or blank, taken off the rest with what separates it from the next.
std::string_view take_item(std::string_view& rest) {
  const std::string_view item = rest.substr(0, rest.find_first_of(", \t\n"));
  rest.remove_prefix(item.size());
  rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
  if (rest.starts_with(',')) {
    rest.remove_prefix(1);
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    if (rest.empty()) throw BadFrames("a range of frames ends with a comma");
  }
  return item;
}

void append_number(std::string& text, int64_t value) {
  char digits[24];
  const auto [end, problem] = std::to_chars(digits, digits + sizeof digits, value);
  text.append(digits, problem == std::errc() ? end : digits);
}

void append_item(std::string& text, const Item& item) {
  if (!text.empty()) text += ',';
  append_number(text, item.first);
  if (is_single(item)) return;
  text += item.kind == Kind::step && is_pair(item) && !is_adjacent(item) ? ',' : '-';
  append_number(text, item.last);
  if (item.kind == Kind::step && (is_adjacent(item) || is_pair(item))) return;
  text += item.kind == Kind::step ? "x" : item.kind == Kind::all_but ? "by" : ":";
  append_number(text, distance(0, item.number));
}

// Whether every item lies above the one before it, so that no frame can stand twice.
bool is_apart(const std::vector<Item>& items) {
  for (size_t i = 1; i < items.size(); ++i) {
    if (std::min(items[i].first, items[i].last) <= std::max(items[i - 1].first, items[i - 1].last))
      return false;
  }
  return true;
}

bool holds(const Item& item, int64_t frame) {
  const int64_t offset = (frame - item.first) * direction_of(item);
  if (offset < 0 || offset > length_of(item)) return false;
  if (item.kind == Kind::stagger) return true;
  const bool is_step = offset % distance(0, item.number) == 0;
  return item.kind == Kind::step ? is_step : !is_step;
}

}  // namespace

void FrameRange::Iterator::enter() {
  offset_ = length_ = pass_ = 0;
  direction_ = 1;
  if (item_ == end_) return;
  length_ = length_of(*item_);
  direction_ = direction_of(*item_);
  if (item_->kind == Kind::all_but) offset_ = 1;
  if (item_->kind == Kind::stagger) pass_ = item_->number;
}

// An offset belongs to the first pass whose step divides it.
void FrameRange::Iterator::next_in_stagger() {
  const auto was_taken = [&] {
    for (int64_t step = pass_ + 1; step <= item_->number; ++step) {
      if (offset_ % step == 0) return true;
    }
    return false;
  };
  do {
    offset_ += pass_;
    while (offset_ > length_ && pass_ > 1) offset_ = --pass_;
  } while (offset_ <= length_ && was_taken());
}

FrameRange::Iterator& FrameRange::Iterator::operator++() {
  switch (item_->kind) {
    case Kind::step:
      offset_ += distance(0, item_->number);
      break;
    case Kind::all_but:
      offset_ += (offset_ + 1) % item_->number == 0 ? 2 : 1;
      break;
    case Kind::stagger:
      next_in_stagger();
      break;
  }
  if (offset_ > length_) {
    ++item_;
    enter();
  }
  return *this;
}

FrameRange::Iterator FrameRange::Iterator::operator++(int) {
  Iterator before = *this;
  ++*this;
  return before;
}

FrameRange::Iterator FrameRange::begin() const {
  return Iterator(items_.data(), items_.data() + items_.size());
}

FrameRange::Iterator FrameRange::end() const {
  return Iterator(items_.data() + items_.size(), items_.data() + items_.size());
}

void FrameRange::add(Frame frame) {
  if (items_.empty() || items_.back().kind != Kind::step) {
    items_.push_back({Kind::step, frame, frame, 1});
    return;
  }
  Item& back = items_.back();
  const int64_t gap = int64_t{frame} - back.last;
  if (gap != 0 && (is_single(back) || gap == back.number)) {
    back.number = gap;
    back.last = frame;
  } else if (gap != 0 && is_pair(back) && !is_adjacent(back)) {
    // Two frames apart are no run yet: the second may begin one.
    const Frame second = back.last;
    back = {Kind::step, back.first, back.first, 1};
    items_.push_back({Kind::step, second, frame, gap});
  } else {
    items_.push_back({Kind::step, frame, frame, 1});
  }
}

void FrameRange::add(Frame first, Frame last) { add_steps(first, last, first <= last ? 1 : -1); }

// last is one of the frames. As if each was added: once two of them stand in one item, so do the others.
void FrameRange::add_steps(Frame first, Frame last, int64_t step) {
  for (int64_t frame = first;; frame += step) {
    add(static_cast<Frame>(frame));
    if (frame == last) return;
    const Item& back = items_.back();
    if (!is_single(back) && back.number == step) break;
  }
  items_.back().last = last;
}

void FrameRange::add_item(Kind kind, Frame first, Frame last, int64_t number) {
  const int64_t direction = first <= last ? 1 : -1;
  int64_t length = distance(first, last);
  const auto at = [&](int64_t offset) { return static_cast<Frame>(first + direction * offset); };
  if (kind == Kind::step) {
    number = std::min(number, length + 1);
    add_steps(first, at(length - length % number), direction * number);
  } else if (kind == Kind::all_but) {
    if (length > 0 && length % number == 0) --length;  // the last is left out
    if (number == 1 || length == 0) {
      throw BadFrames("a range of frames with \"by\" that leaves no frame");
    }
    if (length < number) {
      add(at(1), at(length));
    } else if (number == 2) {
      add_steps(at(1), at(length), direction * 2);
    } else {
      items_.push_back({kind, first, at(length), number});
    }
  } else {
    number = std::min(number, length);
    if (number > kMostStagger) {
      throw BadFrames("a range of frames staggered by more than " + std::to_string(kMostStagger));
    }
    if (number <= 1) {
      add(first, last);
    } else {
      items_.push_back({kind, first, last, number});
    }
  }
}

FrameRange FrameRange::parse(std::string_view text) {
  std::string_view rest = text;
  rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
  if (rest.empty()) throw BadFrames("an empty range of frames");
  FrameRange range;
  uint64_t count = 0;
  while (!rest.empty()) {
    const Written item = ItemReader(take_item(rest)).read();
    const int64_t length = distance(item.first, item.last);
    const int64_t every = item.kind == Kind::step ? item.number : 1;
    count += static_cast<uint64_t>(length / every + 1);
    if (count > kMostFrames) {
      throw BadFrames(quoted(text) + " is a range of " + std::to_string(count) + " frames or more; at most " +
                      std::to_string(kMostFrames) + " are taken");
    }
    range.add_item(item.kind, static_cast<Frame>(item.first), static_cast<Frame>(item.last), item.number);
  }
  return range;
}

FrameRange FrameRange::of(const std::vector<Frame>& frames) {
  FrameRange range;
  for (const Frame frame : frames) range.add(frame);
  return range;
}

uint64_t FrameRange::count() const {
  uint64_t count = 0;
  for (const Item& item : items_) count += count_of(item);
  return count;
}

bool FrameRange::contains(Frame frame) const {
  return std::any_of(items_.begin(), items_.end(), [&](const Item& item) { return holds(item, frame); });
}

std::vector<Frame> FrameRange::frames() const {
  std::vector<Frame> frames;
  frames.reserve(count());
  if (is_apart(items_)) {
    for (const Frame frame : *this) frames.push_back(frame);
    return frames;
  }
  std::unordered_set<Frame> seen;
  for (const Frame frame : *this) {
    if (seen.insert(frame).second) frames.push_back(frame);
  }
  return frames;
}

std::string FrameRange::text() const {
  std::string text;
  for (const Item& item : items_) append_item(text, item);
  return text;
}

}  // namespace orb::frames
