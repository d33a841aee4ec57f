// The codec library's side of an open file: its handle, and what it said. Its messages arrive here, one handle
// apart from the other: errors are kept for report_failure, warnings become reports.
#pragma once

#include <tiffio.h>

#include <csetjmp>
#include <cstdint>
#include <type_traits>

#include "file.h"
#include "orbbase/core.h"
#include "plugins/common/memory.h"
#include "plugins/common/reports.h"

namespace orb::tiff {

using plugin::fail;
using plugin::kNoLine;
using plugin::make_zeroed;
using plugin::owned;

inline constexpr const char* kKey = "tiff";
inline constexpr const char* kExtension = ".tif";

// The library's own fields that no tag of the format is for, as "key=value" lines of text.
inline constexpr uint32_t kPrivateTag = 65042;

struct Codec {
  TIFF* tiff;
  File file;
  bool is_writer;
  bool is_muted;          // a page is read once more: its warnings were given
  bool is_over_limit;     // the codec library asked for a block above ORB_LIMIT_BUFFER
  bool is_out_of_memory;  // reported by the allocator
  bool has_lost_tags;     // the codec library had no memory for its tags, and nothing more can be asked of it
  bool is_guarded;        // by recovery
  std::jmp_buf recovery;
  char message[256];  // its first error since forget_errors
  int32_t page;       // named in remarks, from 1; 0: the file is not known to have several
};

// Starts reading or writing codec.file. False on failure, to be passed to report_failure.
[[nodiscard]] bool start_reading(Codec& codec);
[[nodiscard]] bool start_writing(Codec& codec, bool is_big);

// Ends the codec library's work without another byte written; the file stays open.
void end_codec(Codec& codec);

// Runs a step that may add tags: without memory for them the codec library would go on through a null pointer, and is
// left by a jump instead. The step holds nothing that has a destructor.
template <class Step>
[[nodiscard]] bool guarded(Codec& codec, Step step) {
  static_assert(std::is_trivially_destructible_v<Step>);
  if (codec.has_lost_tags) return false;
  codec.is_guarded = true;
  if (setjmp(codec.recovery) != 0) return false;
  const bool is_done = step();
  codec.is_guarded = false;
  return is_done && !codec.has_lost_tags;
}

// Before a step whose failure is to be reported by its own words.
void forget_errors(Codec& codec);
[[nodiscard]] bool has_error(const Codec& codec);

// Reports why the last step failed, sets orb__err and returns its code. line: the scanline being transferred,
// or kNoLine.
int32_t report_failure(const Codec& codec, int64_t line);

// Reports what of a page cannot be read; orb__err -16. Always false.
bool refuse_page(const Codec& codec, const char* reason);

// Remarks on what a file holds and the description cannot carry, or the other way round. A file with very
// many gets a last remark that says so.
void note(Codec& codec, const char* text);
void warn(Codec& codec, const char* text);

}  // namespace orb::tiff
