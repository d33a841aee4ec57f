// The sets of spectral bins: their memory, the built-in boundaries, and what is derived from the
// matching-function table.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/clr.h"
#include "orbbase/colour/clr_table.h"
#include "orbbase/support/config/setting.h"
#include "orbbase/support/containers/list.h"
#include "orbbase/support/err/internal.h"

namespace orb::clr {

inline constexpr int32_t kMostBuiltInBins = 10;
inline constexpr int32_t kMostBins = 1024;

// A set in one block: the record, which is what CLR_find gives out, and the numbers behind it.
struct BinsNode : ListNode {
  CLR_BINS bins;
  config::Origin origin;

  // All numbers: boundaries, wavelengths, integrals, weights.
  [[nodiscard]] std::span<float> numbers();
  [[nodiscard]] std::span<float> boundaries();
};

// A set of count bins, 1 to kMostBins, with everything 0. Null when memory ran out, reported.
[[nodiscard]] owned<BinsNode> make_bins(int32_t count);

// The boundaries of the built-in set of count bins, 1 to kMostBuiltInBins.
std::span<const float> built_in_boundaries(int32_t count);

// The integrals of the matching functions from the table's start to any wavelength. Kept as running sums, so
// that a bin costs the same however wide it is.
class Integrals {
 public:
  // False when memory ran out, reported. The table must outlive this.
  [[nodiscard]] bool prepare(const MatchingTable& table);

  struct Sums {
    double xyz[3] = {};  // of each function
    double moment = 0;   // of the wavelength times their sum
  };
  [[nodiscard]] Sums up_to(float wavelength) const;
  [[nodiscard]] const MatchingTable& table() const { return table_; }

 private:
  [[nodiscard]] Sums segment(size_t entry, double width) const;

  MatchingTable table_;
  owned<Sums> sums_;  // up to each entry
};

// Computes what clr.h says of a set: the boundaries of a uniform one, and of every one the wavelengths,
// integrals and weights.
void derive(BinsNode& node, const Integrals& integrals);

}  // namespace orb::clr
