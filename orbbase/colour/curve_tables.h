// The tables of a response curve as making, copying and chaining curves share them.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/response.h"

namespace orb::curve {

// How an entry is held, by curve type and depth.
enum class Entry { none, byte, word, real };

[[nodiscard]] Entry entry_of(const ORB_RESPONSE_CURVE& curve);

// As entry_of, but a curve whose entries are of no kind is reported.
[[nodiscard]] Entry checked_entry_of(const ORB_RESPONSE_CURVE& curve);

// Whether the curve has tables to read. One that was not made by the library's calls may not.
[[nodiscard]] bool has_tables(const ORB_RESPONSE_CURVE& curve);

// Gives a curve zeroed tables for its description. On failure false and no tables; the error is set when
// memory ran out and nothing is said when the description has no tables.
[[nodiscard]] bool allocate_tables(ORB_RESPONSE_CURVE& curve);

// A curve's table as its entries, which must be of T.
template <class T>
std::span<T> table(const ORB_RESPONSE_CURVE& curve, int32_t channel) {
  return {static_cast<T*>(curve.tables[channel]), static_cast<size_t>(curve.resolution)};
}

}  // namespace orb::curve
