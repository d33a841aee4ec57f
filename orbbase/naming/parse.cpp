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
  Piece piece;
  do {
    (void)walk.next(piece);  // valid, as its tokens have been counted
    *token++ = {0, static_cast<int32_t>(piece.length), text, 0, nullptr, piece.kind};
    text += piece.length;
  } while (piece.kind != ORB_TOKEN_END);
}

}  // namespace

uint64_t parsed_bytes(std::string_view syntax) {
  const uint64_t count = count_tokens(syntax);
  if (count == 0) {
    set_error(ORB_E_NAME_SYNTAX);
    return 0;
  }
  const uint64_t bytes = count * sizeof(ORB_NAME_TOKEN) + syntax.size() + 1;
  if (!orb__within_limit(ORB_LIMIT_BUFFER, bytes, "ORB_parse_name_syntax")) return 0;
  if (syntax.size() <= INT32_MAX) return bytes;
  set_error(ORB_E_MEMORY);
  return 0;
}

void parse_into(std::string_view syntax, uint64_t bytes, ORB_NAME_TOKEN* tokens) {
  char* const copy = reinterpret_cast<char*>(tokens) + bytes - syntax.size() - 1;
  *std::ranges::transform(syntax, copy, to_small).out = '\0';
  fill_tokens({copy, syntax.size()}, tokens);
}

}  // namespace orb::naming

int32_t ORB_parse_name_syntax(const char* syntax, ORB_NAME_TOKEN** tokens_out, int32_t /*depth*/) {
  using namespace orb::naming;
  if (!tokens_out) {
    orb::set_error(ORB_E_NO_ARGUMENT);
    return 0;
  }
  const std::string_view text = text_or_empty(syntax);
  const uint64_t bytes = parsed_bytes(text);
  if (bytes == 0) return 0;
  auto* const tokens = static_cast<ORB_NAME_TOKEN*>(orb::allocate(bytes));  // one block, one release
  if (!tokens) {
    orb::set_error(ORB_E_MEMORY);
    return 0;
  }
  parse_into(text, bytes, tokens);
  *tokens_out = tokens;
  return 1;
}
