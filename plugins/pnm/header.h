// Reading the header of a picture: text from a stranger, every part of which has a bound.
#pragma once

#include <cstdint>
#include <cstdio>

#include "kinds.h"

namespace orb::pnm {

// A header with its comments may take so many bytes.
inline constexpr uint32_t kMostHeaderBytes = 65536;

// The comments of a header: one line each, without the mark and the space behind it.
struct Comments {
  uint32_t length;
  bool has_zero;  // a zero byte was left out
  char text[kMostHeaderBytes + 1];
};

// Why a header cannot be used: an error code and what to say. io_error: the system's number, if it was that.
// Code 0 with a text: what is to be remarked on a header that can be used.
struct Problem {
  int32_t code;
  int io_error;
  char text[160];
};

// Whether these three bytes begin a file of the kind; automatic: a file of any.
bool is_magic(const uint8_t* bytes, Kind kind);

// Reads the header at the file's position, up to its first sample. comments may be null. False with the
// problem:
//   -8   it is none, or makes no sense; or a number in it is out of its range
//   -16  it makes sense, but asks for what a description cannot say
//   -18  the file ends, or cannot be read
[[nodiscard]] bool read_header(std::FILE* file, Header* out, Comments* comments, Problem* problem);

}  // namespace orb::pnm
