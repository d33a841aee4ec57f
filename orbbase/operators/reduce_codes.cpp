#include "orbbase/operators/reduce_codes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orb::reduce {
namespace {

constexpr float kMostLight = 1.0F;
// Of 16-bit codes a bucket holds some 20.
constexpr uint32_t kWideShift = 13;

uint32_t bucket_count(uint32_t shift) { return (std::bit_cast<uint32_t>(kMostLight) >> shift) + 1; }

// The parts of a table, in the block behind its record.
struct Parts {
  uint32_t codes;   // that the width has
  uint32_t stored;  // values that the storage can hold
  uint32_t buckets;
  uint32_t steps_held;  // one a bucket, or none
  float* lights;
  float* thresholds;
  float* guesses;
  Step* steps;
  uint16_t* ranked;
  uint16_t* starts;
};

uint64_t block_bytes(const Parts& parts) {
  const uint64_t floats = uint64_t{parts.stored} + parts.codes + 1 + parts.buckets + 1;
  return sizeof(CodeTable) + sizeof(float) * floats + sizeof(Step) * uint64_t{parts.steps_held} +
         sizeof(uint16_t) * (uint64_t{parts.codes} + parts.buckets + 1);
}

void place(CodeTable* table, Parts& parts) {
  parts.steps = reinterpret_cast<Step*>(table + 1);
  parts.lights = reinterpret_cast<float*>(parts.steps + parts.steps_held);
  parts.thresholds = parts.lights + parts.stored;
  parts.guesses = parts.thresholds + parts.codes + 1;
  parts.ranked = reinterpret_cast<uint16_t*>(parts.guesses + parts.buckets + 1);
  parts.starts = parts.ranked + parts.codes;
  table->lights = parts.lights;
  table->thresholds = parts.thresholds;
  table->guesses = parts.guesses;
  table->codes = parts.ranked;
  table->starts = parts.starts;
}

double entry_of(const ORB_RESPONSE_CURVE& curve, int32_t channel, uint32_t code) {
  const void* const entries = curve.tables[std::min(channel, curve.channel_count - 1)];
  const uint32_t i = std::min(code, static_cast<uint32_t>(curve.resolution) - 1);
  if (curve.curve_type == ORB_C_FLOAT) return static_cast<const float*>(entries)[i];
  const uint32_t entry =
      curve.depth <= 8 ? static_cast<const uint8_t*>(entries)[i] : static_cast<const uint16_t*>(entries)[i];
  return static_cast<double>(entry) / ((1U << curve.depth) - 1);
}

float within_range(double light) {
  return light > 0.0 ? static_cast<float>(std::min(light, double{kMostLight})) : 0.0F;
}

void fill_lights(const ORB_RESPONSE_CURVE& curve, int32_t channel, Parts& parts) {
  const double gamma = usable_gamma(curve);
  const uint32_t last = parts.codes - 1;
  for (uint32_t code = 0; code <= last; ++code) {
    const double light = curve.kind == ORB_CURVE_TABLE ? entry_of(curve, channel, code)
                                                       : std::pow(static_cast<double>(code) / last, gamma);
    parts.lights[code] = within_range(light);
  }
  std::fill(parts.lights + parts.codes, parts.lights + parts.stored, parts.lights[last]);
}

// Sorts the codes by light and drops those whose light a lower code has. Returns how many are left.
uint32_t rank_codes(Parts& parts) {
  const float* const lights = parts.lights;
  uint16_t* const end = parts.ranked + parts.codes;
  for (uint32_t code = 0; code < parts.codes; ++code) parts.ranked[code] = static_cast<uint16_t>(code);
  const auto is_before = [lights](uint16_t a, uint16_t b) {
    return lights[a] != lights[b] ? lights[a] < lights[b] : a < b;
  };
  if (!std::is_sorted(parts.ranked, end, is_before)) std::sort(parts.ranked, end, is_before);
  const auto is_same = [lights](uint16_t a, uint16_t b) { return lights[a] == lights[b]; };
  return static_cast<uint32_t>(std::unique(parts.ranked, end, is_same) - parts.ranked);
}

// The least float that is not below the middle: exact, as the lights compared with it are floats.
float middle_of(float low, float high) {
  const double middle = (double{low} + high) / 2;
  const auto rounded = static_cast<float>(middle);
  return rounded < middle ? std::nextafter(rounded, high) : rounded;
}

float least_of(uint32_t bucket, uint32_t shift) { return std::bit_cast<float>(bucket << shift); }

void fill_starts(Parts& parts, uint32_t ranks, uint32_t shift) {
  uint32_t rank = 0;
  for (uint32_t bucket = 0; bucket < parts.buckets; ++bucket) {
    const float least = least_of(bucket, shift);
    while (rank + 1 < ranks && least >= parts.thresholds[rank + 1]) ++rank;
    parts.starts[bucket] = static_cast<uint16_t>(rank);
  }
  parts.starts[parts.buckets] = static_cast<uint16_t>(ranks - 1);
}

void fill_guesses(Parts& parts, uint32_t ranks, uint32_t shift) {
  for (uint32_t bucket = 0; bucket < parts.buckets; ++bucket) {
    const uint32_t rank = parts.starts[bucket];
    const float least = parts.thresholds[rank];
    const float whole = (rank + 1 < ranks ? parts.thresholds[rank + 1] : kMostLight) - least;
    const float fraction = whole > 0.0F ? (least_of(bucket, shift) - least) / whole : 0.0F;
    parts.guesses[bucket] = static_cast<float>(rank) + std::clamp(fraction, 0.0F, 0.99F);
  }
  parts.guesses[parts.buckets] = static_cast<float>(ranks - 1);
}

// False when a bucket holds more than one threshold, or no steps are held.
bool fill_steps(Parts& parts, uint32_t ranks) {
  if (parts.steps_held == 0) return false;
  for (uint32_t bucket = 0; bucket < parts.buckets; ++bucket) {
    const uint32_t rank = parts.starts[bucket];
    if (parts.starts[bucket + 1] > rank + 1) return false;
    const uint16_t above = parts.ranked[std::min(rank + 1, ranks - 1)];
    parts.steps[bucket] = {std::bit_cast<uint32_t>(parts.thresholds[rank + 1]), {parts.ranked[rank], above}};
  }
  return true;
}

}  // namespace

double usable_gamma(const ORB_RESPONSE_CURVE& curve) {
  return std::isfinite(curve.gamma) && curve.gamma > 0.0F ? double{curve.gamma} : 1.0;
}

owned<CodeTable> make_code_table(const ORB_RESPONSE_CURVE& curve, int32_t channel, int32_t bits) {
  Parts parts = {};
  parts.codes = 1U << bits;
  parts.stored = bits <= 8 ? 1U << 8 : 1U << 16;
  const uint32_t shift = bits <= 8 ? kStepShift : kWideShift;
  parts.buckets = bucket_count(shift);
  parts.steps_held = shift == kStepShift ? parts.buckets : 0;
  owned<CodeTable> table(static_cast<CodeTable*>(allocate_zeroed(block_bytes(parts), 1)));
  if (!table) return nullptr;
  place(table.get(), parts);
  fill_lights(curve, channel, parts);
  const uint32_t ranks = rank_codes(parts);
  for (uint32_t rank = 1; rank < ranks; ++rank) {
    parts.thresholds[rank] =
        middle_of(parts.lights[parts.ranked[rank - 1]], parts.lights[parts.ranked[rank]]);
  }
  parts.thresholds[ranks] = std::numeric_limits<float>::infinity();
  table->bucket_shift = shift;
  fill_starts(parts, ranks, shift);
  table->steps = fill_steps(parts, ranks) ? parts.steps : nullptr;
  if (!table->steps) fill_guesses(parts, ranks, shift);
  return table;
}

}  // namespace orb::reduce
