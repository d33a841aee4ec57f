// How much the samples of two images differ.
#include "differences.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace orb::tool {
namespace {

constexpr size_t kBlockColumns = 4096;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

double plain_difference(double a, double b) {
  if (a == b || (std::isnan(a) && std::isnan(b))) return 0;
  if (!std::isfinite(a) || !std::isfinite(b)) return kInfinity;
  return std::fabs(a - b);
}

bool is_before(const Channel& a, const Channel& b) {
  return a.group != b.group ? a.group < b.group : a.number < b.number;
}

// The channel of the same group and number; null when there is none. Channels come in that order.
const Channel* find(const std::vector<Channel>& channels, const Channel& like) {
  const auto found = std::lower_bound(channels.begin(), channels.end(), like, is_before);
  return found != channels.end() && !is_before(like, *found) ? &*found : nullptr;
}

}  // namespace

double percent(uint64_t part, uint64_t whole) {
  return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

// With one whole the division comes last, so that a difference of one step is exactly the quotient.
double difference_of(double a, double whole_of_a, double b, double whole_of_b) {
  if (whole_of_a == whole_of_b) return plain_difference(a, b) / whole_of_a;
  return plain_difference(a / whole_of_a, b / whole_of_b);
}

double Statistics::mean() const {
  const uint64_t counted = samples - not_finite;
  return counted == 0 ? 0 : sum / static_cast<double>(counted);
}

double Statistics::rms() const {
  const uint64_t counted = samples - not_finite;
  return counted == 0 ? 0 : std::sqrt(sum_of_squares / static_cast<double>(counted));
}

double Statistics::peak_snr() const {
  if (not_finite > 0) return -kInfinity;
  return rms() == 0 ? kInfinity : 20 * std::log10(peak / rms());
}

Comparison::Comparison(std::vector<Channel> a, std::vector<Channel> b, int64_t width, Thresholds thresholds)
    : channels_a_(std::move(a)), channels_b_(std::move(b)), width_(width), thresholds_(thresholds) {
  for (size_t i = 0; i < channels_a_.size(); ++i) {
    const Channel* partner = find(channels_b_, channels_a_[i]);
    if (partner != nullptr) {
      pairs_.push_back({i, static_cast<size_t>(partner - channels_b_.data())});
    } else {
      only_a_.push_back(channels_a_[i]);
      only_a_rows_.push_back(i);
    }
  }
  for (const Channel& channel : channels_b_) {
    if (find(channels_a_, channel) == nullptr) only_b_.push_back(channel);
  }
}

void Comparison::row(void* const* a, void* const* b, int64_t above_bottom, void* const* difference_rows,
                     double scale) {
  const auto width = static_cast<size_t>(width_);
  for (size_t first = 0; first < width; first += kBlockColumns) {
    const size_t columns = std::min(kBlockColumns, width - first);
    for (std::vector<double>* block : {&samples_a_, &samples_b_, &differences_}) block->resize(columns);
    greatest_.assign(columns, 0.0);
    for (size_t i = 0; i < pairs_.size(); ++i) {
      load(pairs_[i], a, b, first);
      count(pairs_[i], {above_bottom, first, i});
      if (difference_rows != nullptr) store(pairs_[i].a, difference_rows, first, scale);
    }
    if (!pairs_.empty()) count_pixels(columns);
    if (difference_rows == nullptr) continue;
    for (const size_t channel : only_a_rows_) {
      const Channel& only = channels_a_[channel];
      load_samples(only, a[channel], first, samples_a_);
      for (size_t x = 0; x < columns; ++x)
        differences_[x] = difference_of(samples_a_[x], only.whole, 0, only.whole);
      store(channel, difference_rows, first, scale);
    }
  }
}

void Comparison::load(const ChannelPair& pair, void* const* a, void* const* b, size_t first) {
  const Channel& of_a = channel_a(pair);
  const Channel& of_b = channel_b(pair);
  load_samples(of_a, a[pair.a], first, samples_a_);
  load_samples(of_b, b[pair.b], first, samples_b_);
  for (size_t x = 0; x < differences_.size(); ++x) {
    differences_[x] = difference_of(samples_a_[x], of_a.whole, samples_b_[x], of_b.whole);
  }
}

void Comparison::count(const ChannelPair& pair, const Place& place) {
  const double whole_a = channel_a(pair).whole;
  const double whole_b = channel_b(pair).whole;
  double sum = 0;
  double sum_of_squares = 0;
  for (size_t x = 0; x < differences_.size(); ++x) {
    const double error = differences_[x];
    for (const double sample : {samples_a_[x] / whole_a, samples_b_[x] / whole_b}) {
      if (sample > statistics_.peak && sample < kInfinity) statistics_.peak = sample;
    }
    if (error == 0) continue;
    if (error < kInfinity) {
      sum += error;
      sum_of_squares += error * error;
    } else {
      ++statistics_.not_finite;
    }
    if (error > thresholds_.warn) ++statistics_.over_warn.samples;
    if (error > thresholds_.fail) ++statistics_.over_fail.samples;
    greatest_[x] = std::max(greatest_[x], error);
    if (error > statistics_.greatest.error) {
      statistics_.greatest = {error,
                              static_cast<int64_t>(place.first + x),
                              place.above_bottom,
                              place.pair,
                              samples_a_[x] / whole_a,
                              samples_b_[x] / whole_b};
    }
  }
  statistics_.samples += differences_.size();
  statistics_.sum += sum;
  statistics_.sum_of_squares += sum_of_squares;
}

void Comparison::count_pixels(size_t pixels) {
  statistics_.pixels += pixels;
  for (const double error : greatest_) {
    if (error > thresholds_.warn) ++statistics_.over_warn.pixels;
    if (error > thresholds_.fail) ++statistics_.over_fail.pixels;
  }
}

void Comparison::store(size_t channel, void* const* difference_rows, size_t first, double scale) {
  const Channel& form = channels_a_[channel];
  for (double& difference : differences_) difference *= scale * form.whole;
  store_samples(form, differences_, difference_rows[channel], first);
}

}  // namespace orb::tool
