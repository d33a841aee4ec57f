// The codec library's side of an open file: its two structures, where its bytes come from or go to, and what
// went wrong. Here its errors, which arrive as long jumps, become results, and its warnings reports.
#pragma once

#include <png.h>

#include <csetjmp>
#include <cstdint>

#include "plugins/common/long_jump.h"
#include "plugins/common/memory.h"
#include "plugins/common/reports.h"
#include "plugins/common/stream.h"

namespace orb::png {

using plugin::allocate;
using plugin::fail;
using plugin::guarded;
using plugin::kNoLine;
using plugin::make_zeroed;
using plugin::owned;
using plugin::refuse;

inline constexpr const char* kKey = "png";
inline constexpr const char* kExtension = ".png";

// What the texts and other data beside the picture may take of memory in one file.
inline constexpr uint64_t kMetadataBytes = 64U << 20;

// Plain data, so that a long jump has no destructor to skip; the open file's record holds it.
struct Codec {
  png_structp png;
  png_infop info;
  plugin::Stream stream;
  bool is_writer;
  std::jmp_buf recovery;

  // What went wrong, in the order in which it is asked for.
  bool is_out_of_memory;  // reported by the allocator
  bool is_over_budget;    // more than kMetadataBytes
  int io_error;           // the system's number
  bool is_cut;            // the file ended too early
  char message[192];      // the codec library's words

  bool counts_metadata;    // allocations come off metadata_left
  uint64_t metadata_left;  // bytes
};

// Makes the structures for reading or writing codec.stream. False on failure, to be passed to report_failure.
[[nodiscard]] bool start_reading(Codec& codec);
[[nodiscard]] bool start_writing(Codec& codec);

// Releases the structures and closes the stream, unless it is the process's own. For a reader, or a writer
// that failed: what a close says is not looked at.
void release(Codec& codec);

// Reports the failure of a step, unless that was done already, sets orb__err and returns its code. line: the
// scanline being transferred, or below 0 with kNoLine.
int32_t report_failure(const Codec& codec, int64_t line);

}  // namespace orb::png
