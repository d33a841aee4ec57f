// The configuration file: found, read once, split into words, and handed line by line to every database.
#pragma once

#include <cstdint>

#include "orbbase/support/config/setting.h"
#include "orbbase/support/config/tokens.h"
#include "orbbase/support/containers/list.h"
#include "orbbase/support/err/internal.h"

namespace orb::config {

struct Line : ListNode {
  int32_t number;  // counted from 1; a part of a longer line counts as a line
  int32_t token_count;
  char* tokens[kMostTokens + 1];  // the last one is followed by a null
  char* text;                     // owned; the tokens point into it
};

enum class Loaded { lines, no_file, no_memory };

// Reads the file on the first call and goes back to its first line on every other one, until it is released.
// The handle is kept for the databases' reports by the call that reads. Without memory, which was reported,
// nothing stays behind.
[[nodiscard]] Loaded load(void* catalogue);

// The next line, or null at the end.
const Line* next_line();

// Gives the lines and the path back.
void release();

// The path last tried; empty before the first load.
const char* path();

// The handle of the message catalogue for reports.
void* catalogue();

// Where a value of this line comes from. Outlives the release.
Origin origin_of(const Line& line);

// An owned copy, or null with kNoMemoryForText reported.
[[nodiscard]] owned<char> copy_text(const char* text);

// Also forgets the files that values came from. Every database has to be reset first.
void reset_for_test();

}  // namespace orb::config
