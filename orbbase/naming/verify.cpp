// Questions about a name syntax.
#include <cstring>

#include "orbbase/naming/internal.h"

namespace orb::naming {
namespace {

// Whether the text is a valid syntax; the walk then knows what is in it. Sets orb__err when it is not.
bool walk_whole(const char* text, SyntaxWalk& walk) {
  if (!text || !*text) {
    set_error(ORB_E_EMPTY_SYNTAX);
    return false;
  }
  Piece piece;
  do {
    if (!walk.next(piece)) {
      set_error(ORB_E_NAME_SYNTAX);
      return false;
    }
  } while (piece.kind != ORB_TOKEN_END);
  return true;
}

}  // namespace
}  // namespace orb::naming

using namespace orb::naming;

int32_t ORB_name_syntax_has_frame(const char* text) { return text && std::strchr(text, '#') ? 1 : 0; }

const char* ORB_name_syntax_name(void) { return kName.data(); }

int32_t ORB_name_syntax_ends_ext(const char* text) {
  const std::string_view all = text_or_empty(text);
  if (all.size() < kExtension.size()) return 0;
  orb::set_error(ORB_OK);
  return begins_with_keyword(all.substr(all.size() - kExtension.size()), kExtension) ? 1 : 0;
}

int32_t ORB_name_syntax_verify(const char* text) {
  SyntaxWalk walk(text_or_empty(text));
  return walk_whole(text, walk) ? 1 : 0;
}

int32_t ORB_name_syntax_has_ext(const char* text) {
  if (!text) return 0;
  SyntaxWalk walk(text);
  return walk_whole(text, walk) && walk.has_extension() ? 1 : 0;
}
