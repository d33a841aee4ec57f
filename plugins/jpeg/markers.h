// What stands beside the picture: comments are the description, other markers are named in a report, so that
// nothing goes by unseen.
#pragma once

#include <cstdint>

#include "codec.h"

namespace orb::jpeg {

// All comments of a file, a line each. text is a block of ERR_malloc, null without any.
struct Comments {
  char* text;
  uint32_t length;
  uint32_t capacity;
  bool is_closed;  // the picture has begun: further ones come too late
};

inline constexpr uint32_t kMostCommentBytes = 1U << 20;
inline constexpr uint32_t kMostMarkerBytes = 65533;  // of one marker, without its length

// Has the codec library hand the markers over; comments must live as long as the decoder. Calls into it: a step
// of guarded().
void watch_markers(Decoder& decoder, Comments* comments);

}  // namespace orb::jpeg
