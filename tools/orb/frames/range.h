// Ranges of frame numbers: "1001-1049,1051-1096x2". This room knows nothing of the rest of the tool.
//
//   a        one frame                   a-b      all from a to b, backwards when b is below a
//   a-bxN    every Nth, a first          a-byN    all but every Nth: what a-bxN leaves out
//   a-b:N    staggered: every Nth, then of the rest every (N-1)th, and so on down to every single one
//
// Items are separated by commas or spaces. Numbers may be negative: "-5--1" are the five before 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orb::frames {

using Frame = int32_t;

// What a text that is read as a range may hold, and the largest N of a-b:N.
inline constexpr uint64_t kMostFrames = 10'000'000;
inline constexpr int64_t kMostStagger = 1000;

// A text that is no range, no pattern, or too much of one. what() is one sentence without a final stop that
// quotes the text as it came: make it printable before showing it.
class BadFrames : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

class FrameRange {
 public:
  enum class Kind : uint8_t { step, all_but, stagger };

  // One item. Normalised: two ranges that were put together of the same frames in the same order compare equal,
  // except that an item with "by" or ":" is not taken apart for that.
  struct Item {
    Kind kind = Kind::step;
    Frame first = 0;
    Frame last = 0;      // step: itself one of the frames
    int64_t number = 1;  // step: signed, what is added each time; else the N of "byN" and ":N"
    bool operator==(const Item&) const = default;
  };

  // Goes through the frames in the order written, those written twice twice, keeping nothing but its place.
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Frame;
    using difference_type = std::ptrdiff_t;
    using pointer = const Frame*;
    using reference = Frame;

    Iterator() = default;
    Frame operator*() const { return static_cast<Frame>(item_->first + direction_ * offset_); }
    Iterator& operator++();
    Iterator operator++(int);
    bool operator==(const Iterator& other) const {
      return item_ == other.item_ && offset_ == other.offset_ && pass_ == other.pass_;
    }

   private:
    friend class FrameRange;
    explicit Iterator(const Item* item, const Item* end) : item_(item), end_(end) { enter(); }
    void enter();
    void next_in_stagger();

    const Item* item_ = nullptr;
    const Item* end_ = nullptr;
    int64_t offset_ = 0;  // from the item's first frame, without sign
    int64_t length_ = 0;  // the largest offset
    int64_t direction_ = 1;
    int64_t pass_ = 0;  // stagger: the step of the pass
  };

  FrameRange() = default;

  // Throws BadFrames: not a range, a step of 0, a number that is no Frame, no frame left, or more than
  // kMostFrames of them.
  [[nodiscard]] static FrameRange parse(std::string_view text);

  // The frames as given. Not bounded by kMostFrames.
  [[nodiscard]] static FrameRange of(const std::vector<Frame>& frames);

  // Adds one frame, or all from first to last, at the end. Not bounded by kMostFrames.
  void add(Frame frame);
  void add(Frame first, Frame last);

  // How many frames an iteration gives.
  [[nodiscard]] uint64_t count() const;
  [[nodiscard]] bool empty() const { return items_.empty(); }
  [[nodiscard]] bool contains(Frame frame) const;
  [[nodiscard]] Iterator begin() const;
  [[nodiscard]] Iterator end() const;

  // The frames in the order written, each only where it stands first.
  [[nodiscard]] std::vector<Frame> frames() const;

  // The canonical form; "" without frames. parse(text()) is the same range, if it is within kMostFrames.
  [[nodiscard]] std::string text() const;

  bool operator==(const FrameRange&) const = default;

 private:
  void add_steps(Frame first, Frame last, int64_t step);
  void add_item(Kind kind, Frame first, Frame last, int64_t number);

  std::vector<Item> items_;
};

}  // namespace orb::frames
