// How much the samples of two images differ: block by block of a row, so that memory does not grow with the
// image.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "samples.h"

namespace orb::tool {

// |a - b|, each divided by what stands for 1 there. Equal infinities and two that are no numbers do not
// differ; any other pair that is not finite differs by infinity.
[[nodiscard]] double difference_of(double a, double whole_of_a, double b, double whole_of_b);

struct Thresholds {
  double warn;
  double fail;
};

[[nodiscard]] double percent(uint64_t part, uint64_t whole);

// The samples, and the pixels with at least one such sample, that differ by more than a threshold.
struct Excess {
  uint64_t samples = 0;
  uint64_t pixels = 0;
};

struct Greatest {
  double error = 0;
  int64_t column = 0;  // from the window's left edge
  int64_t row = 0;     // above its bottom
  size_t pair = 0;     // of channels
  double a = 0;        // the samples, integers as parts of their range
  double b = 0;
};

struct Statistics {
  uint64_t samples = 0;
  uint64_t pixels = 0;
  uint64_t not_finite = 0;  // samples that differ by infinity; not part of the sums
  double sum = 0;
  double sum_of_squares = 0;
  double peak = 1;  // the largest finite sample of both images, at least 1
  Excess over_warn;
  Excess over_fail;
  Greatest greatest;

  [[nodiscard]] double mean() const;
  [[nodiscard]] double rms() const;
  [[nodiscard]] double peak_snr() const;  // decibels; infinity for no difference
};

// Channels that stand for the same in both images.
struct ChannelPair {
  size_t a;  // index of the row pointer
  size_t b;
};

class Comparison {
 public:
  Comparison(std::vector<Channel> a, std::vector<Channel> b, int64_t width, Thresholds thresholds);

  // One row of both images. With difference_rows, of A's form, each gets its difference times scale there;
  // a channel that only A has counts as compared with zeros there, and nowhere else.
  void row(void* const* a, void* const* b, int64_t above_bottom, void* const* difference_rows, double scale);

  [[nodiscard]] const std::vector<ChannelPair>& pairs() const { return pairs_; }
  [[nodiscard]] const std::vector<Channel>& only_a() const { return only_a_; }
  [[nodiscard]] const std::vector<Channel>& only_b() const { return only_b_; }
  [[nodiscard]] const Channel& channel_a(const ChannelPair& pair) const { return channels_a_[pair.a]; }
  [[nodiscard]] const Channel& channel_b(const ChannelPair& pair) const { return channels_b_[pair.b]; }
  [[nodiscard]] const Statistics& statistics() const { return statistics_; }

 private:
  struct Place {
    int64_t above_bottom;
    size_t first;  // column
    size_t pair;
  };
  void load(const ChannelPair& pair, void* const* a, void* const* b, size_t first);
  void count(const ChannelPair& pair, const Place& place);
  void count_pixels(size_t pixels);
  void store(size_t channel, void* const* difference_rows, size_t first, double scale);

  std::vector<Channel> channels_a_;
  std::vector<Channel> channels_b_;
  std::vector<ChannelPair> pairs_;
  std::vector<Channel> only_a_;
  std::vector<Channel> only_b_;
  std::vector<size_t> only_a_rows_;
  int64_t width_;
  Thresholds thresholds_;
  Statistics statistics_;
  // One block: the samples, their differences, and the greatest difference of each pixel.
  std::vector<double> samples_a_;
  std::vector<double> samples_b_;
  std::vector<double> differences_;
  std::vector<double> greatest_;
};

}  // namespace orb::tool
