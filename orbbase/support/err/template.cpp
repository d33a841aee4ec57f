// Error records' templates: expanding them, and showing them with placeholder words.
#include "orbbase/support/err/template.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "orbbase/support/err/state.h"

namespace orb::err {
namespace {

// Text that goes into a buffer as far as it has room.
class Output {
 public:
  Output(char* buffer, size_t buffer_bytes)
      : buffer_(buffer), left_(buffer_bytes - 1), bytes_(buffer_bytes) {}

  void put(std::string_view text) {
    const size_t fits = std::min(text.size(), left_);
    std::memcpy(at_, text.data(), fits);
    at_ += fits;
    left_ -= fits;
    cut_ = cut_ || fits < text.size();
  }
  void put(char c) { put(std::string_view(&c, 1)); }

  char* finish() {
    *at_ = '\0';
    if (cut_) mark_cut(buffer_, bytes_);
    return buffer_;
  }

 private:
  char* buffer_;
  char* at_ = buffer_;
  size_t left_;
  size_t bytes_;
  bool cut_ = false;
};

// Calls step for every piece of the template: (text, 0) for plain text, (text, c) for the directive "%c". A
// "%" at the very end is plain text.
template <class Step>
void for_each_piece(const char* message_template, Step step) {
  std::string_view rest = message_template ? message_template : "";
  while (!rest.empty()) {
    const size_t plain = std::min(rest.find('%'), rest.size());
    if (plain > 0) step(rest.substr(0, plain), '\0');
    rest.remove_prefix(plain);
    if (rest.size() >= 2) {
      step(rest.substr(0, 2), rest[1]);
    } else if (!rest.empty()) {
      step(rest, '\0');
    }
    rest.remove_prefix(std::min<size_t>(rest.size(), 2));
  }
}

const char* type_word(char directive) {
  switch (directive) {
    case 'c':
      return "character";
    case 'd':
      return "integer";
    case 'f':
      return "real";
    case 's':
      return "string";
    default:
      return "unknown type";
  }
}

// Takes the arguments of a template one by one. A class of its own because a va_list that is handed on as an
// argument cannot be handed on by reference everywhere.
class Arguments {
 public:
  explicit Arguments(va_list args) { va_copy(args_, args); }
  ~Arguments() { va_end(args_); }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  void put_integer(Output& out) {
    char digits[16];
    out.put(
        {digits, static_cast<size_t>(std::snprintf(digits, sizeof(digits), "%d", va_arg(args_, int32_t)))});
  }
  void put_real(Output& out) {
    char digits[512];  // the largest double has 309 digits before the point
    constexpr int kDecimals = 6;
    const auto end = std::to_chars(digits, digits + sizeof(digits), va_arg(args_, double),
                                   std::chars_format::fixed, kDecimals);
    out.put({digits, static_cast<size_t>(end.ptr - digits)});
  }
  void put_text(Output& out) {
    const char* text = va_arg(args_, const char*);
    out.put(std::string_view(text ? text : "(null)"));
  }

 private:
  va_list args_;
};

}  // namespace

char* expand_template(const char* message_template, char* buffer, size_t buffer_bytes, va_list args) {
  Output out(buffer, buffer_bytes);
  Arguments arguments(args);
  for_each_piece(message_template, [&](std::string_view piece, char directive) {
    switch (directive) {
      case 'd':
        return arguments.put_integer(out);
      case 'f':
        return arguments.put_real(out);
      case 's':
        return arguments.put_text(out);
      case '%':
        return out.put('%');
      case 'c':  // silent, on purpose
        return;
      default:
        return out.put(piece);
    }
  });
  return out.finish();
}

}  // namespace orb::err

char* ERR_format(char* buffer, ERR_RECORD* record, ...) {
  using namespace orb::err;
  const Guard guard(state.lock);
  if (is_masked(*record)) return buffer;
  va_list args;
  va_start(args, record);
  expand_template(record->message_template, buffer, kUnbounded, args);
  va_end(args);
  return buffer;
}

char* ERR_format_fill(ERR_RECORD* record, char* buffer) {
  using namespace orb::err;
  const Guard guard(state.lock);
  // On purpose, unlike ERR_format: an empty template does not even terminate the buffer.
  if (!record->message_template || !*record->message_template) return buffer;
  Output out(buffer, kUnbounded);
  const char** next_name = record->argument_names;
  for_each_piece(record->message_template, [&](std::string_view piece, char directive) {
    if (directive == '\0') return out.put(piece);
    if (directive == '%') return out.put('%');
    const bool is_named = next_name && *next_name;
    out.put('<');
    out.put(std::string_view(is_named ? *next_name++ : type_word(directive)));
    out.put('>');
  });
  return out.finish();
}
