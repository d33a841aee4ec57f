// How the rows of an image lie in memory and which coder serves each group; the same for readers and writers.
#pragma once

#include "orbbase/core/drivers/row_layout.h"
#include "orbbase/formats/rla/sample_coders.h"

namespace orb::rla {

struct Layout {
  RowLayout rows;
  const SampleCoder* coders[3];  // of colour, matte, auxiliary; null for an empty group
  uint64_t scratch_bytes;        // for the coders

  [[nodiscard]] size_t active_width() const { return static_cast<size_t>(rows.active_width()); }
  uint64_t table_bytes;  // of the offset table
};

// Groups without channels: a writer takes any, in a file their type must be a known one. Their width never matters.
enum class EmptyGroups { of_any_type, of_known_types };

// Lays out the rows of a descriptor with sound windows. Returns 0 or the code, reported: -16 for a type or
// width, -10 for channels or rows over their limit.
[[nodiscard]] int32_t lay_out(const ORB_IFD& ifd, const char* key, EmptyGroups empty, Layout& layout_out);

// The bytes of a descriptor's offset table.
[[nodiscard]] uint64_t table_bytes_of(const ORB_IFD& ifd);

// The fewest bytes that an active row of such a descriptor takes in a file, for types and widths that
// lay_out would refuse too.
[[nodiscard]] uint64_t least_row_bytes(const ORB_IFD& ifd);

// The bytes of a row in memory, likewise.
[[nodiscard]] uint64_t sample_row_bytes(const ORB_IFD& ifd);

// Reports a line that is out of the window or of sequence, and returns -2.
int32_t bad_scanline(int32_t line);

// The name of the format in reports.
inline const char* key_of(const ORB_INFO& info) { return info.key ? info.key : "rla"; }

}  // namespace orb::rla
