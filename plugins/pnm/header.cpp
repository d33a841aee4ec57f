#include "header.h"

#include <bit>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>

#include "orbbase/support/err.h"

namespace orb::pnm {
namespace {

constexpr size_t kMostDigits = 16;  // with zeros before the number
constexpr size_t kMostLine = 256;   // of a PAM header

bool is_space(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

struct Input {
  std::FILE* file;
  Comments* comments;
  Problem* problem;
  uint32_t left = kMostHeaderBytes;
  bool has_comments = false;
};

bool refuse(Input& in, int32_t code, const char* text) {
  in.problem->code = code;
  std::snprintf(in.problem->text, sizeof in.problem->text, "%s", text);
  return false;
}

// The next byte, or EOF with the problem.
int next_byte(Input& in) {
  if (in.left == 0) return refuse(in, ORB_E_FORMAT, "its header does not end"), EOF;
  --in.left;
  errno = 0;
  const int c = std::getc(in.file);
  if (c != EOF) return c;
  in.problem->io_error = std::ferror(in.file) ? (errno ? errno : EIO) : 0;
  return refuse(in, ORB_E_READ, "the file ends too early"), EOF;
}

void keep_comment_byte(Input& in, int c) {
  if (!in.comments) return;
  if (c == '\0') {
    in.comments->has_zero = true;
  } else {
    in.comments->text[in.comments->length++] = static_cast<char>(c);
  }
}

// A comment counts as the end of its line.
int pass_comment(Input& in) {
  if (in.has_comments) keep_comment_byte(in, '\n');
  in.has_comments = true;
  int c = next_byte(in);
  if (c == ' ') c = next_byte(in);
  for (; c != EOF && c != '\n' && c != '\r'; c = next_byte(in)) keep_comment_byte(in, c);
  return c;
}

int next_visible(Input& in) {
  const int c = next_byte(in);
  return c == '#' ? pass_comment(in) : c;
}

// A word up to one space, which is taken. False with the problem.
bool read_word(Input& in, char* out, size_t out_bytes, const char* too_long) {
  int c = next_visible(in);
  while (is_space(c)) c = next_visible(in);
  size_t length = 0;
  for (; c != EOF && !is_space(c); c = next_visible(in)) {
    if (length + 1 == out_bytes) return refuse(in, ORB_E_FORMAT, too_long);
    out[length++] = static_cast<char>(c);
  }
  out[length] = '\0';
  return c != EOF;
}

bool take_number(Input& in, std::string_view text, const char* name, int64_t most, int32_t* out) {
  int64_t value = 0;
  const auto [rest, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
  char saying[96];
  if (problem != std::errc() || rest != text.data() + text.size()) {
    std::snprintf(saying, sizeof saying, "its %s is not a number", name);
    return refuse(in, ORB_E_FORMAT, saying);
  }
  if (value < 1 || value > most) {
    std::snprintf(saying, sizeof saying, "its %s is %lld, and may be 1 to %lld", name,
                  static_cast<long long>(value), static_cast<long long>(most));
    return refuse(in, ORB_E_FORMAT, saying);
  }
  *out = static_cast<int32_t>(value);
  return true;
}

bool read_number(Input& in, const char* name, int64_t most, int32_t* out) {
  char word[kMostDigits + 1];
  return read_word(in, word, sizeof word, "a number in its header has too many digits") &&
         take_number(in, word, name, most, out);
}

// Only such a maximum is one of a width in bits; samples up to another would change their meaning.
bool take_maximum(Input& in, int32_t maximum, Header* out) {
  const auto value = static_cast<uint32_t>(maximum);
  if (!std::has_single_bit(value + 1)) {
    char saying[128];
    std::snprintf(saying, sizeof saying,
                  "its maximum sample is %d, which is not that of a width in bits (1, 3, 7 ... 65535)",
                  maximum);
    return refuse(in, ORB_E_HANDLE, saying);
  }
  out->bits = std::bit_width(value);
  return true;
}

bool read_size(Input& in, Header* out) {
  return read_number(in, "width", INT32_MAX, &out->width) &&
         read_number(in, "height", INT32_MAX, &out->height);
}

// ---- PBM, PGM, PPM ----

bool read_map(Input& in, Header* out) {
  out->colours = out->kind == Kind::ppm ? 3 : 1;
  out->bits = 1;
  if (!read_size(in, out)) return false;
  int32_t maximum = 1;
  if (out->kind == Kind::pbm) return true;
  return read_number(in, "maximum sample", 65535, &maximum) && take_maximum(in, maximum, out);
}

// ---- PAM ----

struct PamHeader {
  int32_t width;
  int32_t height;
  int32_t depth;
  int32_t maximum;
  char tuple_type[kMostLine];
};

struct PamNumber {
  std::string_view keyword;
  const char* name;
  int64_t most;
  int32_t PamHeader::*field;
};
constexpr PamNumber kPamNumbers[] = {
    {"WIDTH", "width", INT32_MAX, &PamHeader::width},
    {"HEIGHT", "height", INT32_MAX, &PamHeader::height},
    {"DEPTH", "number of planes", INT32_MAX, &PamHeader::depth},
    {"MAXVAL", "maximum sample", 65535, &PamHeader::maximum},
};

// A line without its end and the spaces around it.
bool read_line(Input& in, char* out, std::string_view* line_out) {
  size_t length = 0;
  int c = next_visible(in);
  for (; c != EOF && c != '\n'; c = next_byte(in)) {
    if (length + 1 == kMostLine) return refuse(in, ORB_E_FORMAT, "a line of its header is too long");
    if (length > 0 || !is_space(c)) out[length++] = static_cast<char>(c);
  }
  while (length > 0 && is_space(out[length - 1])) --length;
  *line_out = {out, length};
  return c != EOF;
}

bool add_tuple_type(Input& in, std::string_view text, PamHeader& pam) {
  const size_t length = std::strlen(pam.tuple_type);
  if (length + text.size() + 2 > sizeof pam.tuple_type) {
    return refuse(in, ORB_E_FORMAT, "its tuple type is too long");
  }
  std::snprintf(pam.tuple_type + length, sizeof pam.tuple_type - length, "%s%.*s", length > 0 ? " " : "",
                static_cast<int>(text.size()), text.data());
  return true;
}

bool take_pam_line(Input& in, std::string_view line, PamHeader& pam) {
  size_t end = 0;
  while (end < line.size() && !is_space(static_cast<unsigned char>(line[end]))) ++end;
  const std::string_view keyword = line.substr(0, end);
  while (end < line.size() && is_space(static_cast<unsigned char>(line[end]))) ++end;
  const std::string_view value = line.substr(end);
  if (keyword.empty()) return true;
  if (keyword == "TUPLTYPE") return add_tuple_type(in, value, pam);
  for (const PamNumber& number : kPamNumbers) {
    if (number.keyword != keyword) continue;
    if (pam.*number.field != 0) return refuse(in, ORB_E_FORMAT, "its header says something twice");
    return take_number(in, value, number.name, number.most, &(pam.*number.field));
  }
  return refuse(in, ORB_E_FORMAT, "its header has a line with an unknown word");
}

void remark_on_type(Input& in, const char* tuple_type, const Header& header) {
  std::snprintf(in.problem->text, sizeof in.problem->text,
                "the tuple type %.48s is not known; its planes are taken for %d of colour and %d auxiliary",
                tuple_type, header.colours, header.auxes);
}

bool read_pam(Input& in, Header* out) {
  PamHeader pam = {};
  char buffer[kMostLine];
  std::string_view line;
  for (;;) {
    if (!read_line(in, buffer, &line)) return false;
    if (line == "ENDHDR") break;
    if (!take_pam_line(in, line, pam)) return false;
  }
  for (const PamNumber& number : kPamNumbers) {
    if (pam.*number.field == 0)
      return refuse(in, ORB_E_FORMAT, "its header lacks a size or the maximum sample");
  }
  out->width = pam.width;
  out->height = pam.height;
  const TypeTaken taken = take_tuple_type(pam.tuple_type, pam.depth, out);
  if (taken == TypeTaken::too_few_planes) {
    return refuse(in, ORB_E_FORMAT, "it has fewer planes than its tuple type needs");
  }
  if (taken == TypeTaken::unknown) remark_on_type(in, pam.tuple_type, *out);
  return take_maximum(in, pam.maximum, out);
}

// ---- PFM ----

bool read_pfm(Input& in, Header* out) {
  char word[64];
  if (!read_size(in, out) || !read_word(in, word, sizeof word, "its scale has too many digits")) return false;
  const std::string_view text(word);
  float scale = 0;
  const auto [rest, problem] = std::from_chars(text.data(), text.data() + text.size(), scale);
  if (problem != std::errc() || rest != text.data() + text.size() || !(scale < 0 || scale > 0)) {
    return refuse(in, ORB_E_FORMAT, "its scale is not a number other than 0");
  }
  out->bits = 32;
  out->is_little_endian = scale < 0;
  if (scale == 1.0F || scale == -1.0F) return true;
  char number[32];
  *std::to_chars(number, number + sizeof number - 1, scale).ptr = '\0';
  char saying[128];
  std::snprintf(saying, sizeof saying,
                "its scale is %s, and only 1 and -1 leave the samples as they are stored", number);
  return refuse(in, ORB_E_HANDLE, saying);
}

// ---- The first two bytes ----

struct Magic {
  char letter;
  Kind kind;
  bool is_plain;
  int32_t colours;  // 0: the header says
  bool (*read)(Input& in, Header* out);
};
constexpr Magic kMagics[] = {
    {'1', Kind::pbm, true, 1, read_map},  {'2', Kind::pgm, true, 1, read_map},
    {'3', Kind::ppm, true, 3, read_map},  {'4', Kind::pbm, false, 1, read_map},
    {'5', Kind::pgm, false, 1, read_map}, {'6', Kind::ppm, false, 3, read_map},
    {'7', Kind::pam, false, 0, read_pam}, {'f', Kind::pfm, false, 1, read_pfm},
    {'F', Kind::pfm, false, 3, read_pfm},
};

// The byte behind the letter is part of what tells the kinds from other files: of "P7 332" for one.
const Magic* magic_of(const uint8_t* bytes) {
  for (const Magic& magic : kMagics) {
    if (bytes[0] != 'P' || bytes[1] != static_cast<uint8_t>(magic.letter)) continue;
    const bool is_followed = magic.kind == Kind::pam
                                 ? bytes[2] == '\n'
                                 : is_space(bytes[2]) || (bytes[2] == '#' && magic.kind != Kind::pfm);
    return is_followed ? &magic : nullptr;
  }
  return nullptr;
}

}  // namespace

bool is_magic(const uint8_t* bytes, Kind kind) {
  const Magic* magic = magic_of(bytes);
  return magic && (kind == Kind::automatic || magic->kind == kind);
}

bool read_header(std::FILE* file, Header* out, Comments* comments, Problem* problem) {
  Input in{file, comments, problem};
  *out = {};
  *problem = {};
  uint8_t bytes[3];
  for (uint8_t& byte : bytes) {
    const int c = next_byte(in);
    if (c == EOF) {
      const bool is_empty = &byte == bytes;
      if (problem->io_error != 0) return false;
      return refuse(in, ORB_E_FORMAT, is_empty ? "the file is empty" : "the file is shorter than a header");
    }
    byte = static_cast<uint8_t>(c);
  }
  const Magic* magic = magic_of(bytes);
  if (!magic) return refuse(in, ORB_E_FORMAT, "it begins with other bytes");
  if (bytes[2] == '#' && pass_comment(in) == EOF) return false;
  out->kind = magic->kind;
  out->is_plain = magic->is_plain;
  out->colours = magic->colours;
  const bool is_read = magic->read(in, out);
  out->has_comments = in.has_comments;
  return is_read;
}

}  // namespace orb::pnm
