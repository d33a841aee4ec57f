// What the accounting says to the user, and the question it asks.
#pragma once

#include <cstdint>
#include <cstdio>

namespace orb::utl {

enum Level : int32_t {
  kWarning = 1,
  kFatal = 2,  // asks whether to go on, and aborts unless the answer is yes
};

// Prints a message of a level. Any other level prints as a fatal one and does not ask.
void say(int32_t level, const char* text);

// Where messages go and answers come from; null: standard output and standard input.
void redirect(std::FILE* out, std::FILE* in);

}  // namespace orb::utl
