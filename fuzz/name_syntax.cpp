// Syntaxes, names and format strings from a stranger, through parsing and both builders.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "orbbase/naming.h"
#include "orbbase/registry.h"

namespace {

// Reports are made in full, and shown to nobody.
int32_t swallow(const void*, uint8_t, const char*, ERR_RECORD*, void*) { return 0; }

// The text up to the next zero byte, taken off the input.
std::string take_text(std::string_view& input) {
  const std::string text(input.substr(0, input.find('\0')));
  input.remove_prefix(text.size() < input.size() ? text.size() + 1 : text.size());
  return text;
}

void require(bool holds) {
  if (!holds) std::abort();
}

void parse(const std::string& syntax) {
  ORB_NAME_TOKEN* tokens = nullptr;
  const bool is_valid = ORB_name_syntax_verify(syntax.c_str()) != 0;
  require(ORB_parse_name_syntax(syntax.c_str(), &tokens, 0) == is_valid);
  (void)ORB_name_syntax_has_ext(syntax.c_str());
  (void)ORB_name_syntax_ends_ext(syntax.c_str());
  size_t length = 0;
  for (const ORB_NAME_TOKEN* token = tokens; token && token->kind != ORB_TOKEN_END; ++token) {
    length += static_cast<size_t>(token->length);
  }
  require(!is_valid || length == syntax.size());
  ERR_free(tokens);
}

}  // namespace

// Four bytes of frame, one of flags and mode, then syntax, name, extension and format string, each with a zero.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ERR_dcl_handler(nullptr, swallow, nullptr);
  std::string_view input(reinterpret_cast<const char*>(data), size);
  if (input.size() < 5) {
    ERR_can_handler(nullptr);
    return 0;
  }
  uint32_t frame_bits = 0;
  for (int i = 0; i < 4; ++i) frame_bits = frame_bits << 8 | data[i];
  const auto flags = data[4];
  input.remove_prefix(5);
  const std::string syntax = take_text(input);
  const std::string name = take_text(input);
  const std::string extension = take_text(input);
  const std::string format_string = take_text(input);
  parse(syntax);

  ORB_FORMAT* format = ORB_find("mem");
  require(format != nullptr);
  const ORB_FORMAT before = *format;
  if (!format_string.empty()) format->format_string = format_string.c_str();
  format->add_extension = flags >> 4 & 1;
  auto frame = static_cast<int32_t>(frame_bits);
  char path[ORB_PATHNAME_BYTES];
  char base_name[ORB_PATHNAME_BYTES];
  (void)ORB_pathname_build(flags & 8 ? nullptr : syntax.c_str(), name.c_str(), flags & 32 ? nullptr : "mem",
                           extension.c_str(), flags & 3, flags >> 2 & 1, &frame, path, base_name, nullptr,
                           nullptr);
  *format = before;
  ERR_can_handler(nullptr);
  return 0;
}
