// The sets of spectral bins.
#include "orbbase/colour/clr_bins.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

static_assert(offsetof(CLR_BINS, is_uniform) == 4);
static_assert(offsetof(CLR_BINS, boundaries) == 8);
static_assert(offsetof(CLR_BINS, weights) == 8 + 3 * sizeof(void*));

namespace orb::clr {
namespace {

// Set by set, one boundary more than bins each.
// clang-format off
constexpr float kBuiltInBoundaries[] = {
    545, 666,
    399, 540, 699,
    414, 492, 568, 657,
    416, 486, 538, 577, 656,
    417, 478, 512, 556, 583, 651,
    417, 476, 502, 536, 566, 588, 652,
    418, 474, 499, 532, 564, 586, 643, 650,
    419, 460, 488, 516, 547, 569, 589, 644, 650,
    419, 458, 484, 505, 529, 555, 573, 591, 644, 650,
    417, 444, 474, 492, 515, 542, 562, 577, 592, 643, 649,
};
// clang-format on

// What rounding leaves of an integral over nothing; the whole of the three functions is 3.
constexpr double kNothing = 1e-12;

// Floats of a set: the boundaries and seven a bin.
constexpr size_t number_count(int32_t count) { return static_cast<size_t>(count) * 8 + 1; }
static_assert(sizeof(BinsNode) % alignof(float) == 0);

constexpr size_t first_boundary(int32_t count) {
  size_t first = 0;
  for (int32_t n = 1; n < count; ++n) first += static_cast<size_t>(n) + 1;
  return first;
}
static_assert(first_boundary(kMostBuiltInBins + 1) == std::size(kBuiltInBoundaries));

void set_uniform_boundaries(std::span<float> boundaries, const MatchingTable& table) {
  const double width = (static_cast<double>(table.max) - static_cast<double>(table.min)) /
                       static_cast<double>(boundaries.size() - 1);
  for (size_t i = 0; i < boundaries.size(); ++i)
    boundaries[i] = static_cast<float>(static_cast<double>(table.min) + static_cast<double>(i) * width);
}

}  // namespace

std::span<float> BinsNode::numbers() {
  return {reinterpret_cast<float*>(reinterpret_cast<char*>(this) + sizeof(BinsNode)),
          number_count(bins.count)};
}

std::span<float> BinsNode::boundaries() { return numbers().first(static_cast<size_t>(bins.count) + 1); }

owned<BinsNode> make_bins(int32_t count) {
  const uint64_t bytes = sizeof(BinsNode) + number_count(count) * sizeof(float);
  owned<BinsNode> node(static_cast<BinsNode*>(allocate_zeroed(1, bytes)));
  if (!node) return node;
  node->bins.count = count;
  const auto bins = static_cast<size_t>(count);
  const float* const numbers = node->numbers().data();
  node->bins.boundaries = numbers;
  node->bins.wavelengths = numbers + bins + 1;
  node->bins.integrals = node->bins.wavelengths + bins;
  node->bins.weights = node->bins.integrals + 3 * bins;
  return node;
}

std::span<const float> built_in_boundaries(int32_t count) {
  return std::span(kBuiltInBoundaries).subspan(first_boundary(count), static_cast<size_t>(count) + 1);
}

bool Integrals::prepare(const MatchingTable& table) {
  table_ = table;
  sums_.reset(static_cast<Sums*>(allocate_zeroed(table.entries(), sizeof(Sums))));
  if (!sums_) return false;
  for (size_t entry = 0; entry + 1 < table.entries(); ++entry) {
    const Sums part = segment(entry, table.step());
    const Sums& from = sums_.get()[entry];
    Sums& to = sums_.get()[entry + 1];
    for (size_t c = 0; c < 3; ++c) to.xyz[c] = from.xyz[c] + part.xyz[c];
    to.moment = from.moment + part.moment;
  }
  return true;
}

// The exact integrals of the straight lines that leave an entry toward the next one, over so many nm.
Integrals::Sums Integrals::segment(size_t entry, double width) const {
  const double step = table_.step();
  const double start = static_cast<double>(table_.min) + static_cast<double>(entry) * step;
  Sums sums;
  for (size_t c = 0; c < 3; ++c) {
    const double value = table_.xyz[3 * entry + c];
    const double slope = (table_.xyz[3 * (entry + 1) + c] - value) / step;
    sums.xyz[c] = width * (value + width * slope / 2);
    sums.moment += start * sums.xyz[c] + width * width * (value / 2 + width * slope / 3);
  }
  return sums;
}

Integrals::Sums Integrals::up_to(float wavelength) const {
  const double offset =
      static_cast<double>(std::clamp(wavelength, table_.min, table_.max)) - static_cast<double>(table_.min);
  const size_t last_segment = table_.entries() - 2;
  const size_t entry = std::min(static_cast<size_t>(offset / table_.step()), last_segment);
  Sums sums = segment(entry, offset - static_cast<double>(entry) * table_.step());
  const Sums& before = sums_.get()[entry];
  for (size_t c = 0; c < 3; ++c) sums.xyz[c] += before.xyz[c];
  sums.moment += before.moment;
  return sums;
}

void derive(BinsNode& node, const Integrals& integrals) {
  if (node.bins.is_uniform) set_uniform_boundaries(node.boundaries(), integrals.table());
  const auto count = static_cast<size_t>(node.bins.count);
  const std::span<const float> boundaries = node.boundaries();
  const std::span<float> wavelengths = node.numbers().subspan(count + 1, count);
  const std::span<float> sums = node.numbers().subspan(2 * count + 1, 3 * count);
  const std::span<float> weights = node.numbers().last(3 * count);
  double totals[3] = {};
  for (size_t i = 0; i < count; ++i) {
    const float start = boundaries[i];
    const float end = std::max(start, boundaries[i + 1]);  // a bin that ends before it starts is empty
    const Integrals::Sums from = integrals.up_to(start);
    const Integrals::Sums to = integrals.up_to(end);
    double weight = 0;
    for (size_t c = 0; c < 3; ++c) {
      const double bin = to.xyz[c] - from.xyz[c];
      sums[3 * i + c] = static_cast<float>(bin);
      totals[c] += bin;
      weight += bin;
    }
    const double centroid = (to.moment - from.moment) / weight;  // not a number where there is nothing
    const bool is_inside = centroid >= static_cast<double>(start) && centroid <= static_cast<double>(end);
    const double middle = (static_cast<double>(start) + static_cast<double>(boundaries[i + 1])) / 2;
    wavelengths[i] = static_cast<float>(is_inside && weight > kNothing ? centroid : middle);
  }
  for (size_t i = 0; i < 3 * count; ++i)
    weights[i] = totals[i % 3] != 0 ? static_cast<float>(static_cast<double>(sums[i]) / totals[i % 3]) : 0;
}

}  // namespace orb::clr
