// Builds a path with a name syntax.
#include <algorithm>

#include "orbbase/naming/internal.h"
#include "orbbase/registry.h"

namespace orb::naming {
namespace {

constexpr const char* kDefaultSyntax = "name.####.ext";
constexpr size_t kUsualSyntaxBytes = 1024;  // a dozen tokens and more

using Tokens = std::span<ORB_NAME_TOKEN>;

const char* choose_syntax(const char* given, const ORB_FORMAT& format) {
  if (given && *given) return given;
  return format.name_syntax && *format.name_syntax ? format.name_syntax : kDefaultSyntax;
}

Tokens without_end(ORB_NAME_TOKEN* tokens) {
  size_t count = 0;
  while (tokens[count].kind != ORB_TOKEN_END) ++count;
  return {tokens, count};
}

// The caller's extension or the format's, from its first letter on.
std::string_view choose_extension(const char* given, const ORB_FORMAT& format) {
  const std::string_view text = text_or_empty(given && *given ? given : format.extension);
  return {std::ranges::find_if(text, is_letter), text.end()};
}

// The extension in the case in which the base name has it.
std::string_view match_case(std::string_view extension, std::string_view base_name) {
  const bool has_small = std::ranges::any_of(extension, is_small);
  const bool has_capital = std::ranges::any_of(extension, is_capital);
  const bool is_mixed = has_small == has_capital;
  if (is_mixed || base_name.find(extension) != std::string_view::npos) return extension;
  const auto other_case = has_capital ? to_small : to_capital;
  const auto found =
      std::search(base_name.begin(), base_name.end(), extension.begin(), extension.end(),
                  [other_case](char c, char of_extension) { return c == other_case(of_extension); });
  if (found == base_name.end()) return extension;
  return base_name.substr(static_cast<size_t>(found - base_name.begin()), extension.size());
}

std::string_view match_of(const ORB_NAME_TOKEN& token) {
  return {token.match, static_cast<size_t>(token.match_length)};
}

// The number in the name, -1 when it carries none.
int32_t frame_found(Tokens tokens) {
  int32_t number = -1;
  for (const ORB_NAME_TOKEN& token : tokens) {
    if (token.kind == ORB_TOKEN_FRAME && token.match) (void)number_from_digits(match_of(token), number);
  }
  return number;
}

FrameShape shape_of(const ORB_NAME_TOKEN& token, int32_t found, const Wanted& wanted) {
  const auto syntax_width = static_cast<size_t>(token.length);
  if (!token.match) return {wanted.frame == -1 ? 1 : wanted.frame, syntax_width};
  const std::string_view digits = match_of(token);
  const bool keeps_digit_count =
      !wanted.keep_width && (digits.front() == '0' || digits.size() < syntax_width);
  return {wanted.frame == -1 ? found : wanted.frame, keeps_digit_count ? digits.size() : syntax_width};
}

// The tokens that are written: all, or those before the first without a match when the file is there.
Tokens tokens_to_emit(Tokens tokens, const Wanted& wanted) {
  const auto unmatched = std::ranges::find(tokens, nullptr, &ORB_NAME_TOKEN::match);
  if (unmatched == tokens.end() || wanted.keep_width || !is_readable_file(wanted.name)) return tokens;
  return {tokens.begin(), unmatched};
}

// False when something is too long.
bool emit(Tokens tokens, std::string_view directory, std::string_view extension, const Wanted& wanted,
          Output& out) {
  BoundedText path(out.path);
  BoundedText base_name(out.base_name);
  Emission emission{wanted.mode, extension, {-1, 0}};
  const Emission plain{Mode::frame, extension, {-1, 0}};
  append_text(path, directory, wanted.mode);
  for (const ORB_NAME_TOKEN& token : tokens_to_emit(tokens, wanted)) {
    if (token.kind == ORB_TOKEN_FRAME) emission.frame = shape_of(token, out.frame, wanted);
    // Also in a printf pattern: no path could ever be made of it.
    if (emission.frame.width >= out.path.size()) return false;
    emit_token(path, token, emission);
    if (token.kind == ORB_TOKEN_NAME || token.kind == ORB_TOKEN_EXTENSION)
      emit_token(base_name, token, plain);
  }
  const bool path_fits = path.finish();
  return base_name.finish() && path_fits;
}

// 0, or the code of what is wrong with the arguments.
int32_t check(const Wanted& wanted, const Output& out) {
  if (!wanted.name || !*wanted.name) return ORB_E_EMPTY_NAME;
  if (!wanted.has_outputs) return ORB_E_NO_ARGUMENT;
  return std::strlen(wanted.name) < out.path.size() ? 0 : ORB_E_NAME_LENGTH;
}

// With the syntax parsed. 0, or the code of what is wrong.
int32_t build(Tokens tokens, const char* given_extension, const Wanted& wanted, Output& out) {
  if (const int32_t code = check(wanted, out)) return code;
  const std::string_view name = wanted.name;
  const std::string_view base_name = base_of(name);
  const std::string_view extension = match_case(choose_extension(given_extension, *out.format), base_name);
  if (const int32_t code = match_name(tokens, base_name, extension)) return code;
  out.frame = frame_found(tokens);
  const std::string_view directory = name.substr(0, name.size() - base_name.size());
  return emit(tokens, directory, extension, wanted, out) ? 0 : ORB_E_NAME_LENGTH;
}

}  // namespace

bool build_with_syntax(const char* syntax, const char* extension, const Wanted& wanted, Output& out) {
  out.format = find_format(wanted.format_key);
  if (!out.format) return false;
  const std::string_view chosen = choose_syntax(syntax, *out.format);
  const uint64_t bytes = parsed_bytes(chosen);
  if (bytes == 0) return false;
  Workspace<kUsualSyntaxBytes> memory;
  auto* const parsed = static_cast<ORB_NAME_TOKEN*>(memory.reserve(bytes));
  if (parsed) parse_into(chosen, bytes, parsed);
  const int32_t code = parsed ? build(without_end(parsed), extension, wanted, out) : ORB_E_MEMORY;
  if (code != 0) set_error(code);
  return code == 0;
}

}  // namespace orb::naming

using namespace orb::naming;

int32_t ORB_pathname_build_from_name_syntax(const char* syntax, const char* name, const char* format_key,
                                            const char* extension, int32_t mode, int32_t* frame_inout,
                                            char* path_out, char* base_name_out, ORB_FORMAT** format_out,
                                            int32_t keep_width) {
  const Caller caller{name, format_key, mode, keep_width, frame_inout, path_out, base_name_out, format_out};
  return build_for_caller(caller, [&](const Wanted& wanted, Output& out) {
    return build_with_syntax(syntax, extension, wanted, out);
  });
}

int32_t ORB_pathname_build(const char* syntax, const char* name, const char* format_key,
                           const char* extension, int32_t mode, int32_t keep_width, int32_t* frame_inout,
                           char* path_out, char* base_name_out, const char** format_key_out,
                           ORB_FORMAT** format_out) {
  if (!syntax) {
    return ORB_pathname_build_no_name_syntax(name, format_key, mode, keep_width, frame_inout, path_out,
                                             base_name_out, format_key_out, format_out);
  }
  if (format_key_out) *format_key_out = format_key;
  return ORB_pathname_build_from_name_syntax(syntax, name, format_key, extension, mode, frame_inout, path_out,
                                             base_name_out, format_out, keep_width);
}
