// Chaining two response curves into one.
#include <algorithm>

#include "orbbase/colour/curve_tables.h"
#include "orbbase/response.h"
#include "orbbase/support/err/internal.h"

namespace orb::curve {
namespace {

constexpr MessageText kChannelCounts = {902, 1103, ERR_ERROR,
                                        "Incompatible response curve channel counts (channel counts must be "
                                        "the same for composited response curves)"};
constexpr MessageText kChannelType = {902, 1104, ERR_ERROR,
                                      "Incompatible response curve channel type (channel must be of type "
                                      "ORB_C_INTEGER for composited response curve)"};
constexpr MessageText kElementCounts = {902, 1105, ERR_ERROR,
                                        "Incompatible response curve channel element counts"};

// A curve whose tables go with it unless they were given away.
class CurveOwner {
 public:
  explicit CurveOwner(const ORB_RESPONSE_CURVE& description) : record_(description) {
    record_.kind = ORB_CURVE_TABLE;
    record_.reserved = 0;
    record_.tables = nullptr;
  }
  ~CurveOwner() { ORB_response_curve_done(&record_); }
  CurveOwner(const CurveOwner&) = delete;
  CurveOwner& operator=(const CurveOwner&) = delete;

  [[nodiscard]] ORB_RESPONSE_CURVE& operator*() { return record_; }
  [[nodiscard]] ORB_RESPONSE_CURVE release() {
    ORB_RESPONSE_CURVE given = record_;
    record_.tables = nullptr;
    return given;
  }

 private:
  ORB_RESPONSE_CURVE record_;
};

// out[i] = a[b[i]]. out is as long as b. An entry of b may hold more than its depth allows: it then counts as
// a's last.
template <class A, class B>
void map_entries(std::span<const A> a, std::span<const B> b, std::span<A> out) {
  const size_t last = a.size() - 1;
  for (size_t i = 0; i < b.size(); ++i) out[i] = a[std::min<size_t>(b[i], last)];
}

template <class A, class B>
void map_tables(const ORB_RESPONSE_CURVE& a, const ORB_RESPONSE_CURVE& b, const ORB_RESPONSE_CURVE& out) {
  for (int32_t channel = 0; channel < out.channel_count; ++channel) {
    map_entries<A, B>(table<A>(a, channel), table<B>(b, channel), table<A>(out, channel));
  }
}

template <class A>
void map_by_width(const ORB_RESPONSE_CURVE& a, const ORB_RESPONSE_CURVE& b, const ORB_RESPONSE_CURVE& out) {
  if (entry_of(b) == Entry::byte) {
    map_tables<A, uint8_t>(a, b, out);
  } else {
    map_tables<A, uint16_t>(a, b, out);
  }
}

// 2 to the power of a depth, where that is a resolution; else 0.
int32_t values_of_depth(int32_t depth) { return depth >= 0 && depth <= 30 ? 1 << depth : 0; }

// Whether b's entries can be looked up in a's tables; reported if not.
bool fit_together(const ORB_RESPONSE_CURVE& a, const ORB_RESPONSE_CURVE& b) {
  if (a.channel_count != b.channel_count) return report(kChannelCounts), false;
  if (b.curve_type == ORB_C_FLOAT) return report(kChannelType), false;
  if (values_of_depth(b.depth) != a.resolution) return report(kElementCounts), false;
  return checked_entry_of(a) != Entry::none && checked_entry_of(b) != Entry::none;
}

// What the result of a after b takes of each; a's type and depth, b's channels and resolution.
ORB_RESPONSE_CURVE chained_description(const ORB_RESPONSE_CURVE& a, const ORB_RESPONSE_CURVE& b,
                                       float gamma) {
  ORB_RESPONSE_CURVE description = a;
  description.gamma = gamma;
  description.channel_count = b.channel_count;
  description.resolution = b.resolution;
  return description;
}

using Result = ORB_RESPONSE_CURVE;

bool chain_gammas(const ORB_RESPONSE_CURVE& a, const ORB_RESPONSE_CURVE& b, Result* out) {
  CurveOwner chained(chained_description(a, b, b.gamma / a.gamma));
  if (ORB_response_curve_init(&*chained) != 0) return false;
  *out = chained.release();
  return true;
}

bool chain_tables(const ORB_RESPONSE_CURVE& a, const ORB_RESPONSE_CURVE& b, Result* out) {
  if (!fit_together(a, b) || !has_tables(a) || !has_tables(b)) return false;
  CurveOwner chained(chained_description(a, b, 1.0f));
  if (!allocate_tables(*chained)) return false;
  switch (entry_of(a)) {
    case Entry::byte:
      map_by_width<uint8_t>(a, b, *chained);
      break;
    case Entry::word:
      map_by_width<uint16_t>(a, b, *chained);
      break;
    default:
      map_by_width<float>(a, b, *chained);
      break;
  }
  *out = chained.release();
  return true;
}

bool chain_gamma_after_tables(const ORB_RESPONSE_CURVE& a, const ORB_RESPONSE_CURVE& b, Result* out) {
  if (b.curve_type == ORB_C_FLOAT) return report(kChannelType), false;
  if (checked_entry_of(b) == Entry::none) return false;
  CurveOwner tabulated(chained_description(a, b, 1.0f / a.gamma));
  (*tabulated).resolution = values_of_depth(b.depth);
  return ORB_response_curve_init(&*tabulated) == 0 && chain_tables(*tabulated, b, out);
}

bool chain_tables_after_gamma(const ORB_RESPONSE_CURVE& a, const ORB_RESPONSE_CURVE& b, Result* out) {
  CurveOwner tabulated(b);
  return ORB_response_curve_init(&*tabulated) == 0 && chain_tables(a, *tabulated, out);
}

// How two curves are chained, by their kinds.
constexpr struct {
  int32_t kind_of_a;
  int32_t kind_of_b;
  bool (*chain)(const ORB_RESPONSE_CURVE& a, const ORB_RESPONSE_CURVE& b, Result* out);
} kChains[] = {
    {ORB_CURVE_GAMMA, ORB_CURVE_GAMMA, chain_gammas},
    {ORB_CURVE_TABLE, ORB_CURVE_TABLE, chain_tables},
    {ORB_CURVE_GAMMA, ORB_CURVE_TABLE, chain_gamma_after_tables},
    {ORB_CURVE_TABLE, ORB_CURVE_GAMMA, chain_tables_after_gamma},
};

}  // namespace
}  // namespace orb::curve

int32_t ORB_response_curve_comp(const ORB_RESPONSE_CURVE* a, const ORB_RESPONSE_CURVE* b,
                                ORB_RESPONSE_CURVE* out) {
  if (!a || !b || !out) return -1;
  for (const auto& row : orb::curve::kChains) {
    if (row.kind_of_a != a->kind || row.kind_of_b != b->kind) continue;
    ORB_RESPONSE_CURVE chained;
    if (!row.chain(*a, *b, &chained)) return -1;
    if (out == a || out == b) ORB_response_curve_done(out);
    *out = chained;
    return 0;
  }
  return 0;  // no rule for these kinds: out stays as it is
}
