// Takes a name syntax apart into tokens.
#include <algorithm>

#include "orbbase/naming/internal.h"

namespace orb::naming {
namespace {

// The number of tokens with the end token; 0 when the syntax is not valid.
uint64_t count_tokens(std::string_view syntax) {
  SyntaxWalk walk(syntax);
  Piece piece;
  uint64_t count = 0;
  do {
    if (!walk.next(piece)) return 0;
    ++count;
  } while (piece.kind != ORB_TOKEN_END);
  return count;
}

void fill_tokens(std::string_view syntax, ORB_NAME_TOKEN* token) {
  SyntaxWalk walk(syntax);
  const char* text = syntax.data();
  for (Piece piece; walk.next(piece); ++token) {
    *token = {0, static_cast<int32_t>(piece.length), text, 0, nullptr, piece.kind};
    text += piece.length;
    if (piece.kind == ORB_TOKEN_END) return;
  }
}

}  // namespace
}  // namespace orb::naming

int32_t ORB_parse_name_syntax(const char* syntax, ORB_NAME_TOKEN** tokens_out, int32_t /*depth*/) {
  using namespace orb::naming;
  if (!tokens_out) {
    orb::set_error(ORB_E_NO_ARGUMENT);
    return 0;
  }
  const std::string_view text = text_or_empty(syntax);
  const uint64_t count = count_tokens(text);
  if (count == 0) {
    orb::set_error(ORB_E_NAME_SYNTAX);
    return 0;
  }
  // The copy of the syntax lies behind the tokens: one block, one release.
  const uint64_t block_bytes = count * sizeof(ORB_NAME_TOKEN) + text.size() + 1;
  if (!orb__within_limit(ORB_LIMIT_BUFFER, block_bytes, "ORB_parse_name_syntax")) return 0;
  void* const block = text.size() > INT32_MAX ? nullptr : orb::allocate(block_bytes);
  if (!block) {
    orb::set_error(ORB_E_MEMORY);
    return 0;
  }
  auto* tokens = static_cast<ORB_NAME_TOKEN*>(block);
  auto* copy = reinterpret_cast<char*>(tokens + count);
  *std::transform(text.begin(), text.end(), copy, to_small) = '\0';
  fill_tokens({copy, text.size()}, tokens);
  *tokens_out = tokens;
  return 1;
}
