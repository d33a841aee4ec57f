// Failures that formats report in the same words. Whoever knows the reason reports it, once; the others pass the
// code on.
#pragma once

#include <cstddef>
#include <cstdint>

#include "memory.h"
#include "orbbase/driver.h"

namespace orb::plugin {

// Reports what a format cannot hold; orb__err -16. Always false. arguments are the message's.
template <class... Arguments>
bool refuse(int32_t message, Arguments... arguments) {
  orb__report(message, arguments...);
  return fail(ORB_E_HANDLE) == 0;
}

// Reports that a file is not one of the format ("PNG"); orb__err -8. Always false. got: the bytes that were
// read of its beginning ("PNG signature"), whose length is needed.
bool refuse_beginning(const char* path, const char* format, const char* beginning, size_t got, size_t needed);

// Reports why a file's bytes cannot be read or written. line: the scanline being transferred, or kNoLine.
inline constexpr int64_t kNoLine = INT64_MIN;
enum class Transfer { reading, writing };
void report_transfer(const char* path, Transfer transfer, int64_t line, const char* reason);

// Reports a scanline that is not there or not the next one. Returns -2, and orb__err is that too.
int32_t refuse_line(int32_t line);

// Reports what a row holds that the file cannot; the row may be given again, the file stays as it is. Returns -16, and
// orb__err is that too.
int32_t refuse_row(int32_t line, const char* reason);

// What a terminal might take for a command becomes "?": texts of the file may be quoted.
void mask_controls(char* text);

// A remark behind its place, "page 3: ..."; number 0: as it is.
void place_remark(const char* kind, int32_t number, const char* text, char (&out)[320]);

}  // namespace orb::plugin
