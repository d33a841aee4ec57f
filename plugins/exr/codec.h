// The codec library's side of an open file: its context, and what it said. Its messages arrive here and are kept for
// report_failure: the first says the most.
#pragma once

#include <openexr.h>

#include <cstdint>

#include "file.h"
#include "orbbase/core.h"
#include "plugins/common/memory.h"
#include "plugins/common/reports.h"

namespace orb::exr {

using plugin::fail;
using plugin::kNoLine;
using plugin::make_zeroed;
using plugin::owned;

inline constexpr const char* kKey = "exr";
inline constexpr const char* kExtension = ".exr";
inline constexpr const char* kName = "OpenEXR";

struct Codec {
  exr_context_t context;
  File file;
  bool is_writer;
  int32_t part;  // named in remarks, from 1; 0: the file is not known to have several
};

// Starts reading or writing codec.file; reading takes in the whole header. False on failure, reported.
[[nodiscard]] bool start_reading(Codec& codec);
[[nodiscard]] bool start_writing(Codec& codec);

// Null when the codec library in use can code this compression; else why not, in words that hold until the next
// call of the thread.
const char* reason_against(exr_compression_t compression);

// Ends the codec library's work; the file stays open. What it returns matters for a file that is written.
exr_result_t end_codec(Codec& codec);

// A block that the codec library may release. Null when memory ran out or it is over the limit: reported, and the
// next report_failure knows.
[[nodiscard]] void* allocate_for_codec(size_t size_bytes);

// Before a step whose failure is to be reported by its own words.
void forget_errors(Codec& codec);

// A step's result; out of memory when memory was refused on the way, whatever the codec library made of that.
[[nodiscard]] exr_result_t checked(exr_result_t result);

// Reports why the last step failed, sets orb__err and returns its code. line: the scanline being transferred,
// or kNoLine.
int32_t report_failure(const Codec& codec, exr_result_t result, int64_t line);

// Reports what of a part cannot be read; orb__err -16. Always false.
bool refuse_part(const Codec& codec, const char* reason);

// Remarks on what a file holds and the description cannot carry, or the other way round.
void note(Codec& codec, const char* text);
void warn(Codec& codec, const char* text);

}  // namespace orb::exr
