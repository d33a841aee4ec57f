// How the samples of one image lie in the rows of a scanline, and how they are packed where only the active
// ones are kept.
#pragma once

#include <cstdint>

#include "orbbase/core.h"

namespace orb {

// Rows and packed lines begin at such addresses, where large copies are fastest.
inline constexpr uint64_t kSampleAlignment = 64;

// The first such address from block on; the block has kSampleAlignment bytes to spare.
inline uint8_t* aligned_samples(uint8_t* block) {
  const uint64_t past = reinterpret_cast<uintptr_t>(block) % kSampleAlignment;
  return past == 0 ? block : block + (kSampleAlignment - past);
}

struct RowLayout {
  // One row a channel; the groups colour, matte, auxiliary, index in this order.
  struct Group {
    int32_t channels;
    uint32_t sample_bytes;
  };
  Group groups[4];
  int32_t channels;       // of all groups
  ORB_WINDOW window;      // rows hold window.right - window.left + 1 samples
  ORB_WINDOW active;      // lies within window
  bool bottom_up;         // order of the lines in a sequence
  uint64_t packed_bytes;  // the active samples of all channels of a line, one after the other

  bool is_packed;  // rows of allocate_rows are a packed line themselves, which begins with the first row

  [[nodiscard]] int64_t width() const { return int64_t{window.right} - window.left + 1; }
  [[nodiscard]] int64_t active_width() const { return int64_t{active.right} - active.left + 1; }
  [[nodiscard]] int64_t active_lines() const { return int64_t{active.top} - active.bottom + 1; }
  [[nodiscard]] int64_t left_pad() const { return int64_t{active.left} - window.left; }
  [[nodiscard]] bool has_line(int32_t line) const { return line >= window.bottom && line <= window.top; }
  [[nodiscard]] bool has_active_line(int32_t line) const {
    return line >= active.bottom && line <= active.top;
  }
  [[nodiscard]] int64_t first_active_line() const { return bottom_up ? active.bottom : active.top; }
};

// Lays out the rows of a descriptor. With colour channels its index count becomes 0, as for every row buffer.
//
// key   the format's, for the reports
// call  names the caller in the report of a limit
//
// Returns 0, or the code that is now in orb__err, reported:
//   -16  a group's type or width has no sample form; a negative count; a window of no pixel, an active window
//        that is not within it, or rows of more than 2^31 - 1 samples ("%s cannot handle the requested
//        action")
//   -10  the channels, or the bytes of a line, are over their limit
[[nodiscard]] int32_t lay_out_rows(ORB_IFD& ifd, const char* key, const char* call, RowLayout& layout_out);

// Whether the two windows are such as lay_out_rows accepts.
[[nodiscard]] bool windows_are_sound(const ORB_IFD& ifd);

// The rows that a reader hands out: one block with the row pointers at its start, released with ERR_free.
// Contents undefined. Null, with orb__err -10, reported, when there is no memory or a limit is passed.
//
// held_bytes   what the handle's row blocks take together; grows by this one
// call         names the caller in the report of a limit
// slack_bytes  that may be written behind the last row
[[nodiscard]] void** allocate_rows(const RowLayout& layout, uint64_t& held_bytes, const char* call,
                                   uint64_t slack_bytes = 0);

// Walks the channels' active spans of a row array: visit(address, bytes) for each, until one returns false.
template <class Visit>
bool for_each_active_span(const RowLayout& layout, void* const* rows, Visit visit) {
  int32_t channel = 0;
  for (const RowLayout::Group& group : layout.groups) {
    const uint64_t skipped_bytes = static_cast<uint64_t>(layout.left_pad()) * group.sample_bytes;
    const uint64_t span_bytes = static_cast<uint64_t>(layout.active_width()) * group.sample_bytes;
    for (int32_t i = 0; i < group.channels; ++i, ++channel) {
      if (!visit(static_cast<uint8_t*>(rows[channel]) + skipped_bytes, static_cast<size_t>(span_bytes)))
        return false;
    }
  }
  return true;
}

// Samples of the window outside the active columns become zeros; with all, every sample does.
void zero_pads(const RowLayout& layout, void* const* rows);
void zero_rows(const RowLayout& layout, void* const* rows);

}  // namespace orb
