// Response curves: tabulating one from its description, copying one, and its end. Chaining two is in
// composition.cpp.
#include "orbbase/response.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "orbbase/colour/curve_tables.h"
#include "orbbase/colour/rounding.h"
#include "orbbase/support/err.h"

namespace orb::curve {
namespace {

// Applications and plug-ins are compiled against this layout.
static_assert(sizeof(ORB_RESPONSE_CURVE) == 40 && offsetof(ORB_RESPONSE_CURVE, reserved) == 8);
static_assert(offsetof(ORB_RESPONSE_CURVE, channel_count) == 16 &&
              offsetof(ORB_RESPONSE_CURVE, tables) == 32);

constexpr int32_t kFailed = -1;

// The last entry's number, by which entries are placed in 0..1. A table of one entry has no second end: its
// entry is the one at 0.
double last_entry(size_t resolution) { return resolution > 1 ? static_cast<double>(resolution - 1) : 1.0; }

template <class T>
void tabulate_integers(std::span<T> out, double gamma, double largest) {
  const double last = last_entry(out.size());
  for (size_t i = 0; i < out.size(); ++i) {
    const double position = static_cast<double>(i);
    const double value =
        gamma == 1.0 ? position * largest / last : std::pow(position / last, gamma) * largest;
    out[i] = rounded_entry<T>(value, largest);
  }
}

void tabulate_reals(std::span<float> out, double gamma) {
  const double last = last_entry(out.size());
  for (size_t i = 0; i < out.size(); ++i) {
    const double position = static_cast<double>(i) / last;
    out[i] = static_cast<float>(gamma == 1.0 ? position : std::pow(position, gamma));
  }
}

template <class T>
void copy_first_table(const ORB_RESPONSE_CURVE& curve) {
  const std::span<T> first = table<T>(curve, 0);
  for (int32_t channel = 1; channel < curve.channel_count; ++channel) {
    std::copy(first.begin(), first.end(), table<T>(curve, channel).begin());
  }
}

template <class T>
void fill_integers(const ORB_RESPONSE_CURVE& curve) {
  tabulate_integers(table<T>(curve, 0), curve.gamma, static_cast<double>((1 << curve.depth) - 1));
  copy_first_table<T>(curve);
}

void fill_tables(const ORB_RESPONSE_CURVE& curve) {
  switch (entry_of(curve)) {
    case Entry::byte:
      return fill_integers<uint8_t>(curve);
    case Entry::word:
      return fill_integers<uint16_t>(curve);
    case Entry::real:
      tabulate_reals(table<float>(curve, 0), curve.gamma);
      return copy_first_table<float>(curve);
    case Entry::none:
      return;
  }
}

template <class T>
void copy_tables(const ORB_RESPONSE_CURVE& from, const ORB_RESPONSE_CURVE& to) {
  for (int32_t channel = 0; channel < from.channel_count; ++channel) {
    const std::span<T> source = table<T>(from, channel);
    std::copy(source.begin(), source.end(), table<T>(to, channel).begin());
  }
}

}  // namespace
}  // namespace orb::curve

int32_t ORB_response_curve_init(ORB_RESPONSE_CURVE* curve) {
  if (!curve) return orb::curve::kFailed;
  curve->kind = ORB_CURVE_TABLE;
  curve->reserved = 0;
  if (!orb::curve::allocate_tables(*curve)) return orb::curve::kFailed;
  orb::curve::fill_tables(*curve);
  return 0;
}

int32_t ORB_response_curve_copy(ORB_RESPONSE_CURVE* dest, const ORB_RESPONSE_CURVE* src) {
  using namespace orb::curve;
  if (!dest) return kFailed;
  if (dest == src) return 0;
  dest->tables = nullptr;
  if (!src) return kFailed;
  *dest = *src;
  dest->kind = ORB_CURVE_TABLE;
  dest->tables = nullptr;
  const Entry entry = checked_entry_of(*src);
  if (entry == Entry::none || !has_tables(*src) || !allocate_tables(*dest)) return kFailed;
  if (entry == Entry::byte) copy_tables<uint8_t>(*src, *dest);
  if (entry == Entry::word) copy_tables<uint16_t>(*src, *dest);
  if (entry == Entry::real) copy_tables<float>(*src, *dest);
  return 0;
}

int32_t ORB_response_curve_done(ORB_RESPONSE_CURVE* curve) {
  if (!curve || curve->kind != ORB_CURVE_TABLE) return 1;
  if (curve->tables) ERR_free(curve->tables[0]);
  ERR_free(curve->tables);
  curve->tables = nullptr;
  return 1;
}
