// The codec library's side of an open file: its structures, where its bytes come from or go to, and what went
// wrong. Here its errors, which arrive as long jumps, become results, and its warnings reports.
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
// The codec library's header needs those above.
#include <jpeglib.h>

#include "plugins/common/long_jump.h"
#include "plugins/common/memory.h"
#include "plugins/common/reports.h"
#include "plugins/common/stream.h"

namespace orb::jpeg {

using plugin::guarded;
using plugin::kNoLine;

inline constexpr const char* kKey = "jpeg";
inline constexpr const char* kExtension = ".jpg";

inline constexpr size_t kBufferBytes = 16384;

// What went wrong, and what the codec library's own managers hold. Plain data, so that a long jump has no
// destructor to skip; the open file's record holds it.
struct Codec {
  jpeg_error_mgr errors;
  jpeg_progress_mgr progress;
  std::jmp_buf recovery;
  plugin::Stream stream;
  bool is_writer;
  bool is_out_of_memory;
  int io_error;                   // the system's number
  bool is_cut;                    // the file ended too early
  char message[JMSG_LENGTH_MAX];  // the codec library's words
  uint8_t buffer[kBufferBytes];   // between the stream and the codec library
};

// A reader's structures; cinfo.err points to codec.errors, by which the call-backs find the codec.
struct Decoder : Codec {
  jpeg_decompress_struct cinfo;
  jpeg_source_mgr source;
};
struct Encoder : Codec {
  jpeg_compress_struct cinfo;
  jpeg_destination_mgr destination;
};

template <class Info>
Codec& codec_of(Info* cinfo) {
  return *reinterpret_cast<Codec*>(cinfo->err);  // its first member
}

// Make the structures for reading or writing the stream. False on failure, to be passed to report_failure.
[[nodiscard]] bool start(Decoder& decoder);
[[nodiscard]] bool start(Encoder& encoder);

// Release the structures and close the stream, unless it is the process's own.
void release(Decoder& decoder);
void release(Encoder& encoder);

// Ends a step with an error in words of our own. Only within guarded.
[[noreturn]] void give_up(Codec& codec, const char* message);

// Reports the failure of a step, sets orb__err and returns its code. line: the scanline being transferred, or
// kNoLine.
int32_t report_failure(const Codec& codec, int64_t line);

}  // namespace orb::jpeg
