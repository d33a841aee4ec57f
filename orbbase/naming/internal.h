// What the files of this room share: the walk over a syntax, matching, and putting paths together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "orbbase/naming.h"
#include "orbbase/str/internal.h"
#include "orbbase/support/err/internal.h"

namespace orb::naming {

// ---- Characters: ASCII's, whatever the locale -------------------------------------------------------

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_small(char c) { return c >= 'a' && c <= 'z'; }
constexpr bool is_capital(char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool is_letter(char c) { return is_small(c) || is_capital(c); }
constexpr bool is_punctuation(char c) { return c > ' ' && c < '\x7f' && !is_digit(c) && !is_letter(c); }
constexpr char to_small(char c) { return is_capital(c) ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr char to_capital(char c) { return is_small(c) ? static_cast<char>(c - 'a' + 'A') : c; }

// A text argument; null counts as empty.
inline std::string_view text_or_empty(const char* text) { return text ? text : ""; }

// ---- Memory ------------------------------------------------------------------------------------------

// Memory for one piece of work: its own for what is usual, else a block of the allocator's.
template <size_t kOwnBytes>
class Workspace {
 public:
  // Not cleared. Null when memory ran out. Voids what was given out before.
  [[nodiscard]] void* reserve(uint64_t bytes) {
    if (bytes <= kOwnBytes) return own_;
    block_.reset(static_cast<char*>(allocate(bytes)));
    return block_.get();
  }

 private:
  alignas(std::max_align_t) char own_[kOwnBytes];
  owned<char> block_;
};

// ---- The walk over a syntax -------------------------------------------------------------------------

inline constexpr std::string_view kName = "name";
inline constexpr std::string_view kExtension = "ext";

// Whether the text begins with a keyword, in small or capital letters.
bool begins_with_keyword(std::string_view text, std::string_view keyword);

struct Piece {
  uint32_t kind;  // ORB_TOKEN_
  size_t length;
};

// Gives out the tokens of a syntax from left to right.
class SyntaxWalk {
 public:
  explicit SyntaxWalk(std::string_view syntax) : rest_(syntax) {}

  // The next token; ORB_TOKEN_END at the end of a valid syntax. False when the syntax is not valid.
  [[nodiscard]] bool next(Piece& piece);
  [[nodiscard]] bool has_extension() const { return has_extension_; }

 private:
  bool keyword(Piece& piece);

  std::string_view rest_;
  bool has_frame_ = false;
  bool has_name_ = false;
  bool has_extension_ = false;
};

// What parse_into needs for a syntax; 0, with orb__err set, when it is not valid or too long.
[[nodiscard]] uint64_t parsed_bytes(std::string_view syntax);

// Puts the tokens of a valid syntax and the end token into so many bytes, and a copy of the syntax behind them.
void parse_into(std::string_view syntax, uint64_t bytes, ORB_NAME_TOKEN* tokens);

// ---- Matching ---------------------------------------------------------------------------------------

// A run of digits in a base name.
struct DigitRun {
  size_t first;
  size_t end;
};

// A base name and the runs of digits in it, in order.
struct Subject {
  std::string_view text;
  std::span<const DigitRun> runs;
};

// The number that digits spell. False when it is above the largest 32-bit number.
[[nodiscard]] bool number_from_digits(std::string_view digits, int32_t& number);

// Divides the characters first to end of a subject among the name, frame and field-count tokens of a segment,
// and sets their matches. ends_syntax: the segment is the syntax's last, so that a field's letter may follow
// the frame. False when they do not fit; the matches are void then.
[[nodiscard]] bool divide_segment(std::span<ORB_NAME_TOKEN* const> segment, const Subject& subject,
                                  size_t first, size_t end, bool ends_syntax);

// Matches a whole base name against tokens (without the end token) and sets their matches. When it fits only
// without the frame, the frame and the separator before it stay unmatched. Time is bounded by the square of
// the base name's length. Returns 0; -12 when it does not fit, -10 when memory ran out, neither set.
[[nodiscard]] int32_t match_name(std::span<ORB_NAME_TOKEN> tokens, std::string_view base_name,
                                 std::string_view extension);

// ---- Putting paths together -------------------------------------------------------------------------

enum class Mode { frame, wildcard, printf };

inline Mode mode_from_number(int32_t mode) {
  if (mode == ORB_PATHNAME_WILDCARD) return Mode::wildcard;
  return mode == ORB_PATHNAME_PRINTF ? Mode::printf : Mode::frame;
}

// The shape of an integer conversion.
struct Conversion {
  bool has_zero_flag = false;
  size_t width = 0;
  size_t precision = 0;
  bool has_precision = false;
};

// Widths and precisions read from a text stop here: more than any path holds.
inline constexpr size_t kMostWidth = 65535;

// Copies of a character; more than kMostWidth count as that.
void append_repeated(BoundedText& out, char c, size_t count);
// A text as it stands, or with each "%" doubled for a printf pattern.
void append_text(BoundedText& out, std::string_view text, Mode mode);
// A number as printf writes it with the conversion.
void append_number(BoundedText& out, const Conversion& shape, int32_t number);
// The conversion itself, for printf.
void append_conversion(BoundedText& out, const Conversion& shape);

// How a frame is written.
struct FrameShape {
  int32_t frame;  // -1: nothing but the field's letter
  size_t width;
};

// What builds the text of tokens.
struct Emission {
  Mode mode;
  std::string_view extension;
  FrameShape frame;
};

void emit_token(BoundedText& out, const ORB_NAME_TOKEN& token, const Emission& emission);

// The part of a path behind its last "/".
std::string_view base_of(std::string_view path);

// Whether the path names a regular file that can be opened for reading.
bool is_readable_file(const char* path);

// Starts the library when need be and finds a format by key or extension. Null with orb__err set.
ORB_FORMAT* find_format(const char* key);

// ---- The builders, into buffers of known size --------------------------------------------------------

// Where the parts of a result go. The buffers overlap no argument.
struct Output {
  std::span<char> path;
  std::span<char> base_name;
  int32_t frame = -1;
  ORB_FORMAT* format = nullptr;
};

struct Wanted {
  const char* name;
  const char* format_key;
  Mode mode;
  bool keep_width;
  bool has_outputs;  // the caller gave the pointers that it must give
  int32_t frame;
};

// As the exported functions of similar name. False with orb__err set; the output is void then.
[[nodiscard]] bool build_with_syntax(const char* syntax, const char* extension, const Wanted& wanted,
                                     Output& out);
[[nodiscard]] bool build_with_format_string(const Wanted& wanted, Output& out);

// What both exported functions are given.
struct Caller {
  const char* name;
  const char* format_key;
  int32_t mode;
  int32_t keep_width;
  int32_t* frame_inout;
  char* path_out;
  char* base_name_out;
  ORB_FORMAT** format_out;
};

// Runs a builder into buffers of its own, so that the caller's may be its arguments too, and hands out its
// results when it succeeds.
template <class Build>
int32_t build_for_caller(const Caller& caller, Build build) {
  const Wanted wanted{.name = caller.name,
                      .format_key = caller.format_key,
                      .mode = mode_from_number(caller.mode),
                      .keep_width = caller.keep_width != 0,
                      .has_outputs = caller.frame_inout && caller.path_out,
                      .frame = caller.frame_inout ? *caller.frame_inout : -1};
  char path[ORB_PATHNAME_BYTES];
  char base_name[ORB_PATHNAME_BYTES];
  Output out{path, base_name};
  if (!build(wanted, out)) return 0;
  *caller.frame_inout = out.frame;
  std::memcpy(caller.path_out, path, std::strlen(path) + 1);
  if (caller.base_name_out) std::memcpy(caller.base_name_out, base_name, std::strlen(base_name) + 1);
  if (caller.format_out) *caller.format_out = out.format;
  return 1;
}

}  // namespace orb::naming
