#include "orbbase/support/utl/messages.h"

#include <cstdlib>

namespace orb::utl {
namespace {

struct State {
  std::FILE* out = nullptr;  // null: the process's own
  std::FILE* in = nullptr;
};
constinit State state;

constexpr int kAnswerSize = 80;

bool user_goes_on(std::FILE* out) {
  std::fputs("Continue? (y/n)", out);
  std::fflush(out);
  char answer[kAnswerSize + 1] = {};
  if (!std::fgets(answer, sizeof answer, state.in ? state.in : stdin)) return false;
  return answer[0] == 'y' || answer[0] == 'Y';
}

}  // namespace

void say(int32_t level, const char* text) {
  std::FILE* const out = state.out ? state.out : stdout;
  std::fprintf(out, "%s: %s\n", level == kWarning ? "WARNING" : "FATAL  ", text);
  if (level == kFatal && !user_goes_on(out)) std::abort();
}

void redirect(std::FILE* out, std::FILE* in) { state = {out, in}; }

}  // namespace orb::utl
