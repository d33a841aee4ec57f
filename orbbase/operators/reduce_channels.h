// The channels of a picture as the generators of reduced pictures work on them, and the rows they go through.
#pragma once

#include <span>

#include "orbbase/core/drivers/row_layout.h"
#include "orbbase/operators/reduce_rows.h"

namespace orb::reduce {

struct Channel {
  const RowFunctions* rows;
  Light light;
};

struct Picture {
  RowLayout layout;  // of the full picture
  int32_t channel_count;
  int32_t table_count;
  Channel* channels;
  CodeTable** tables;  // the channels'; every one once
  uint8_t* padded;     // one channel's row with zeros where nothing is active; null: all columns and rows are
};

// Fills a cleared record. 0 or the code, reported with the generator's name; to be released in either case.
[[nodiscard]] int32_t prepare(const ORB_IFD& full, const char* name, Picture& picture);
void release(Picture& picture);

// How many rows without an active pixel there are from a row on, counted from the bottom of the window, in steps of 1
// or -1. Nobody has to read them: they are zeros, in any number that a file claims.
[[nodiscard]] int64_t inactive_rows(const RowLayout& layout, int64_t row, int64_t step);

// A channel's samples of a line of the picture, zeros where it is not active; rows may be null where nothing is.
// Valid until the next call.
[[nodiscard]] const uint8_t* active_samples(const Picture& picture, int32_t channel, int32_t line,
                                            void* const* rows);

// Room for so many samples of light a channel, and some more that channels share: kMostLightBytes for each. Contents
// undefined. Null, with the code in orb__err, reported, when there is no memory or it is over a limit.
[[nodiscard]] owned<uint8_t> allocate_lights(const Picture& picture, uint64_t samples_a_channel,
                                             uint64_t shared_samples, const char* name);

// A channel's row among them.
inline uint8_t* channel_lights(uint8_t* rows, int32_t channel, size_t samples) {
  return rows + static_cast<size_t>(channel) * samples * kMostLightBytes;
}

// The rows that are handed out or written, of a reduced image. Null as for ORB_chan_alloc.
[[nodiscard]] void** allocate_samples(const ORB_IFD& reduced, const char* name);

}  // namespace orb::reduce
