// Tables between integer samples of up to 16 bits and the light that they stand for, both ways.
#pragma once

#include <bit>
#include <cstdint>

#include "orbbase/response.h"
#include "orbbase/support/err/internal.h"

namespace orb::reduce {

// A range of lights with one threshold at most, between two codes.
struct Step {
  uint32_t threshold;  // the bits of a float
  uint16_t codes[2];   // of lights below it, and of the others
};

// The buckets of codes of up to 8 bits: fine enough that with the usual gammas each holds one threshold, while those in
// use stay in the first level cache.
inline constexpr uint32_t kStepShift = 15;

// Codes are ranked by their light; of several with the same light only the lowest has a rank. The light of a code
// is within 0..1, so that the bits of a float are in the order of their values and its leading ones name a bucket
// of neighbouring lights.
struct CodeTable {
  const float* lights;      // of every value that a sample's storage can hold
  const float* thresholds;  // the least light that belongs to each rank; then one that none reaches
  const uint16_t* codes;    // of each rank
  const uint16_t* starts;   // the rank of the least light of each bucket; then the last rank
  const float* guesses;     // where there are no steps: the same, with the way to the next rank as a fraction
  const Step* steps;        // of each bucket; null where a bucket holds more than one threshold
  uint32_t bucket_shift;
};

// For the samples of a channel of 1 to 16 bits. Null, reported, when memory ran out.
[[nodiscard]] owned<CodeTable> make_code_table(const ORB_RESPONSE_CURVE& curve, int32_t channel,
                                               int32_t bits);

// A curve's gamma, or 1 for one that cannot be worked with.
[[nodiscard]] double usable_gamma(const ORB_RESPONSE_CURVE& curve);

// The rank that a light belongs to, looked for among those of its bucket.
inline uint32_t search_rank(const CodeTable& table, uint32_t bucket, float light) {
  uint32_t rank = table.starts[bucket];
  for (uint32_t last = table.starts[bucket + 1]; rank < last;) {
    const uint32_t middle = (rank + last + 1) / 2;
    if (light >= table.thresholds[middle]) {
      rank = middle;
    } else {
      last = middle - 1;
    }
  }
  return rank;
}

// The code whose light is nearest. light: 0 to 1. Within a bucket the ranks of a smooth curve lie on a straight
// line, which finds nearly all of them.
inline uint16_t nearest_code(const CodeTable& table, float light) {
  const auto bits = std::bit_cast<uint32_t>(light);
  const uint32_t bucket = bits >> table.bucket_shift;
  const auto behind = static_cast<float>(bits & ((1U << table.bucket_shift) - 1));
  const float way = behind / static_cast<float>(1U << table.bucket_shift);
  const float from = table.guesses[bucket];
  auto rank = static_cast<uint32_t>(from + (table.guesses[bucket + 1] - from) * way);
  if (!(light >= table.thresholds[rank] && light < table.thresholds[rank + 1])) {
    rank = search_rank(table, bucket, light);
  }
  return table.codes[rank];
}

// The same without a branch, for a table that has steps.
inline uint16_t nearest_code_by_step(const CodeTable& table, float light) {
  const auto bits = std::bit_cast<uint32_t>(light);
  const Step& step = table.steps[bits >> kStepShift];
  return step.codes[bits >= step.threshold ? 1 : 0];
}

}  // namespace orb::reduce
