// Encoding of byte planes, in two steps for each block of samples: list where runs begin and end, from words of
// marks, then write a literal and a run for each pair of the list. The list keeps the two from waiting for each
// other.
#include <algorithm>
#include <bit>
#include <cstring>

#include "orbbase/formats/rla/byte_planes.h"
#include "orbbase/formats/rla/plane_coder.h"
#include "orbbase/formats/rla/run_marks.h"
#include "orbbase/platform/prefetch.h"

namespace orb::rla {
namespace {

constexpr size_t kMaxToken = 128;   // samples
constexpr size_t kBlockWords = 64;  // of marks, listed at a time
constexpr size_t kListed =
    kBlockWords * kMarkedSamples + 16;  // more than a block's changes and one kept from before

// std::popcount is a call where the machine's instruction may not be taken for granted.
size_t bit_count(uint64_t bits) {
  bits -= bits >> 1 & 0x5555555555555555;
  bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
  return ((bits + (bits >> 4)) & 0x0f0f0f0f0f0f0f0f) * 0x0101010101010101 >> 56;
}

// The lowest bit set, or anything when there is none: a test for that would be a branch.
uint32_t first_bit(uint64_t bits) {
  return static_cast<uint32_t>(std::countr_zero(bits | uint64_t{1} << (kMarkedSamples - 1)));
}

// A plane of which kMaxToken samples can be read from every sample on: the last ones come from a copy.
class Source {
 public:
  explicit Source(std::span<const uint8_t> plane)
      : plane_(plane.data()), tail_begin_(plane.size() - std::min(plane.size(), kMaxToken)) {
    if (tail_begin_ != 0) {
      std::memcpy(tail_, plane_ + tail_begin_, kMaxToken);  // a size that compilers know, for speed
    } else {
      std::memcpy(tail_, plane_, plane.size());
    }
  }

  [[nodiscard]] const uint8_t* from(size_t sample) const {
    return sample < tail_begin_ ? plane_ + sample : tail_ + (sample - tail_begin_);
  }

 private:
  const uint8_t* plane_;
  size_t tail_begin_;
  uint8_t tail_[2 * kMaxToken] = {};
};

// Writes tokens; those of more than kMaxToken samples in pieces.
class Writer {
 public:
  Writer(const Source& source, uint8_t* out) : source_(source), out_(out) {}

  // A literal of the samples since the last run, also of none.
  void literal(size_t end) {
    while (end - done_ > kMaxToken) literal_token(kMaxToken);
    literal_token(end - done_);
  }

  // The samples to `end`, all the same.
  void run(size_t end) {
    const uint8_t value = *source_.from(done_);
    for (; end - done_ > kMaxToken; done_ += kMaxToken) run_token(value, kMaxToken);
    run_token(value, end - done_);
    done_ = end;
  }

  [[nodiscard]] const uint8_t* out() const { return out_; }

 private:
  // Without a branch on whether there are samples: it could not be predicted.
  void literal_token(size_t count) {
    const uint8_t* in = source_.from(done_);
    out_[0] = static_cast<uint8_t>(0 - count);
    std::memcpy(out_ + 1, in, kMaxToken / 2);
    if (count > kMaxToken / 2) std::memcpy(out_ + 1 + kMaxToken / 2, in + kMaxToken / 2, kMaxToken / 2);
    out_ += count + (count != 0);
    done_ += count;
  }

  void run_token(uint8_t value, size_t count) {
    out_[0] = static_cast<uint8_t>(count - 1);
    out_[1] = value;
    out_ += 2;
  }

  const Source& source_;
  uint8_t* out_;
  size_t done_ = 0;  // samples written
};

// The samples at which marks begin and end, in turn: a run begins with its marks and ends two samples after them.
class Changes {
 public:
  // The marks of kMarkedSamples samples from `first` on.
  void add(uint64_t marks, size_t first) {
    uint64_t changes = marks ^ (marks << 1 | last_mark_);
    last_mark_ = marks >> (kMarkedSamples - 1);
    if (changes == 0) return;
    const size_t count = bit_count(changes);
    for (size_t listed = 0; listed < count; listed += 8) {
      for (size_t i = 0; i < 8; ++i) {  // always eight: how many are true is hard to predict
        at_[count_ + listed + i] = static_cast<uint32_t>(first) + first_bit(changes);
        changes &= changes - 1;
      }
    }
    count_ += count;
  }

  // Writes the pairs of the list. A run that has only begun stays.
  void write(Writer& writer) {
    size_t i = 0;
    for (; i + 2 <= count_; i += 2) {
      writer.literal(at_[i]);
      writer.run(at_[i + 1] + 2);
    }
    if (i < count_) at_[0] = at_[i];
    count_ -= i;
  }

 private:
  uint32_t at_[kListed];
  size_t count_ = 0;
  uint64_t last_mark_ = 0;
};

// The marks of the samples from `first` on. The last two of a plane begin no three.
template <class Marks>
uint64_t marks_from(const Source& source, size_t first, size_t plane_size) {
  prefetch_after(source.from(first));
  const uint64_t marks = Marks::word(source.from(first));
  const size_t left = plane_size - first;
  if (left >= kMarkingReads) return marks;
  return left < 2 ? 0 : marks & ((uint64_t{1} << (left - 2)) - 1);
}

template <class Marks>
size_t encode(std::span<const uint8_t> plane, uint8_t* coded) {
  if (plane.empty()) return 0;
  const Source source(plane);
  Writer writer(source, coded);
  Changes changes;
  for (size_t first = 0; first < plane.size();) {
    const size_t block_end = std::min(plane.size(), first + kBlockWords * kMarkedSamples);
    for (; first < block_end; first += kMarkedSamples) {
      changes.add(marks_from<Marks>(source, first, plane.size()), first);
    }
    changes.write(writer);
  }
  writer.literal(plane.size());
  return static_cast<size_t>(writer.out() - coded);
}

template <class Sample>
size_t encode_all(std::span<const Sample> samples, std::span<uint8_t> coded, std::span<uint8_t> scratch) {
  split_planes(samples, scratch);
  size_t used = 0;
  for (size_t plane = 0; plane < sizeof(Sample); ++plane) {
    used +=
        encode<BestMarks>(scratch.subspan(plane * samples.size()).first(samples.size()), coded.data() + used);
  }
  return used;
}

}  // namespace

size_t encode_plane(std::span<const uint8_t> plane, std::span<uint8_t> coded) {
  return encode<BestMarks>(plane, coded.data());
}

size_t encode_planes(std::span<const uint16_t> samples, std::span<uint8_t> coded,
                     std::span<uint8_t> scratch) {
  return encode_all(samples, coded, scratch);
}

size_t encode_planes(std::span<const uint32_t> samples, std::span<uint8_t> coded,
                     std::span<uint8_t> scratch) {
  return encode_all(samples, coded, scratch);
}

}  // namespace orb::rla
