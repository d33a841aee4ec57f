// Patterns: finding the field, names of frames, and the frame of a name.
#include "pattern.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace orb::frames {
namespace {

// A field as it stands in a text.
struct Field {
  size_t begin = 0;
  size_t end = 0;
  Style style = Style::hash;
  size_t width = 0;
  bool is_open = false;
};

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_punctuation(char c) { return c > ' ' && c < 127 && !is_digit(c) && !is_letter(c); }

size_t base_start(std::string_view path) {
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? 0 : slash + 1;
}

size_t run_end(std::string_view text, size_t at) {
  return std::min(text.find_first_not_of(text[at], at), text.size());
}

size_t checked_width(std::string_view field, size_t width) {
  if (width > kMostWidth) {
    throw BadFrames("\"" + std::string(field.substr(0, kMostWidth)) + "\" is a frame number of more than " +
                    std::to_string(kMostWidth) + " characters");
  }
  return width;
}

// The number in text from at on, its end into end_out. Without digits, 0.
size_t read_width(std::string_view text, size_t at, size_t& end_out) {
  const char* const last = text.data() + text.size();
  size_t width = 0;
  const auto [end, problem] = std::from_chars(text.data() + at, last, width);
  end_out = static_cast<size_t>(end - text.data());
  return problem == std::errc::result_out_of_range ? kMostWidth + 1 : width;
}

// A run of "#" or "@". Alone an "@" is one in "take.@.png", not in "user@host.png".
std::optional<Field> read_run(std::string_view text, size_t at) {
  const size_t end = run_end(text, at);
  const size_t length = end - at;
  const bool is_at = text[at] == '@';
  if (is_at && length == 1) {
    const bool is_apart =
        (at == 0 || is_punctuation(text[at - 1])) && (end == text.size() || is_punctuation(text[end]));
    if (!is_apart) return std::nullopt;
  }
  const size_t width = length == 1 ? kUsualWidth : length;
  return Field{at, end, is_at ? Style::at : Style::hash, width, length == 1};
}

// "%d" or "%04d"; "%20d" is none, as in "my%20dog.png".
std::optional<Field> read_percent(std::string_view text, size_t at) {
  size_t end = at + 1;
  const bool has_width = end < text.size() && text[end] == '0';
  const size_t width = has_width ? read_width(text, end, end) : 1;
  if (end >= text.size() || text[end] != 'd') return std::nullopt;
  return Field{at, end + 1, Style::percent, std::max<size_t>(width, 1), false};
}

// "$F" or "$F4".
std::optional<Field> read_dollar(std::string_view text, size_t at) {
  if (!text.substr(at).starts_with("$F")) return std::nullopt;
  size_t end = at + 2;
  const size_t width = end < text.size() ? read_width(text, end, end) : 0;
  if (end == at + 2 && end < text.size() && is_letter(text[end])) return std::nullopt;
  return Field{at, end, Style::dollar, std::max<size_t>(width, 1), false};
}

std::optional<Field> read_field(std::string_view text, size_t at) {
  switch (text[at]) {
    case '#':
    case '@':
      return read_run(text, at);
    case '%':
      return read_percent(text, at);
    case '$':
      return read_dollar(text, at);
    default:
      return std::nullopt;
  }
}

std::vector<Field> find_fields(std::string_view text, size_t from) {
  std::vector<Field> fields;
  for (size_t at = from; at < text.size();) {
    if (const std::optional<Field> field = read_field(text, at)) {
      fields.push_back(*field);
      at = field->end;
    } else if (text[at] == '@' || text.substr(at).starts_with("%%")) {
      at = text[at] == '@' ? run_end(text, at) : at + 2;
    } else {
      ++at;
    }
  }
  return fields;
}

std::string_view text_of(std::string_view text, const Field& field) {
  return text.substr(field.begin, field.end - field.begin);
}

// The field behind a range in brackets, the last if there are several; else the only one.
const Field& choose_field(std::string_view text, const std::vector<Field>& fields) {
  for (size_t i = fields.size(); i-- > 0;) {
    if (fields[i].begin > 0 && text[fields[i].begin - 1] == ']') return fields[i];
  }
  if (fields.size() > 1) {
    throw BadFrames("two fields for the frame number, \"" +
                    std::string(text_of(text, fields[0]).substr(0, kMostWidth)) + "\" and \"" +
                    std::string(text_of(text, fields[1]).substr(0, kMostWidth)) +
                    "\"; --literal takes a name as it stands");
  }
  return fields.front();
}

// Takes a range in brackets off the end of what stands before the field.
std::optional<FrameRange> take_range(std::string_view& prefix, size_t base) {
  const size_t open = prefix.rfind('[');
  const bool has_open = open != std::string_view::npos && open >= base;
  if (prefix.size() > base && prefix.back() == ']') {
    if (!has_open)
      throw BadFrames(
          "a range of frames that is closed with \"]\" but not opened; --literal takes a name as it stands");
    FrameRange range = FrameRange::parse(prefix.substr(open + 1, prefix.size() - open - 2));
    prefix = prefix.substr(0, open);
    return range;
  }
  // A bracket with text of another kind behind it belongs to the name: "take[a]_####.png".
  if (has_open && prefix.find_first_not_of("0123456789-,:xby ", open + 1) == std::string_view::npos) {
    throw BadFrames("a range of frames, \"" + std::string(prefix.substr(open, kMostWidth)) +
                    "\", that is not closed with \"]\"; --literal takes a name as it stands");
  }
  return std::nullopt;
}

std::string replaced(std::string_view text, std::string_view from, std::string_view to) {
  std::string out;
  for (size_t at = 0; at < text.size();) {
    const bool is_here = text.substr(at).starts_with(from);
    out += is_here ? to : text.substr(at, 1);
    at += is_here ? from.size() : 1;
  }
  return out;
}

std::string field_text(Style style, size_t width, std::string_view suffix) {
  const std::string number = std::to_string(width);
  switch (style) {
    case Style::hash:
    case Style::at:
      return std::string(width, style == Style::hash ? '#' : '@');
    case Style::percent:
      return width == 1 ? "%d" : "%0" + number + "d";
    case Style::dollar:
      break;
  }
  const bool is_bare = width == 1 && (suffix.empty() || !is_letter(suffix.front()));
  return is_bare ? "$F" : "$F" + number;
}

}  // namespace

FramePattern FramePattern::parse(std::string_view text, const PatternOptions& options) {
  if (text.empty()) throw BadFrames("an empty name");
  FramePattern pattern;
  const size_t base = base_start(text);
  const std::vector<Field> fields = options.is_literal ? std::vector<Field>() : find_fields(text, base);
  if (fields.empty()) {
    pattern.prefix_ = text;
    return pattern;
  }
  const Field& field = choose_field(text, fields);
  std::string_view prefix = text.substr(0, field.begin);
  pattern.range_ = take_range(prefix, base);
  pattern.has_field_ = true;
  pattern.style_ = field.style;
  pattern.is_width_open_ = field.is_open && options.pad == 0;
  pattern.width_ = options.pad == 0 ? checked_width(text_of(text, field), field.width)
                                    : checked_width("--pad", options.pad);
  const bool is_printf = field.style == Style::percent;
  pattern.prefix_ = is_printf ? replaced(prefix, "%%", "%") : std::string(prefix);
  const std::string_view suffix = text.substr(field.end);
  pattern.suffix_ = is_printf ? replaced(suffix, "%%", "%") : std::string(suffix);
  return pattern;
}

FramePattern FramePattern::of(std::string prefix, size_t width, std::string suffix) {
  FramePattern pattern;
  pattern.has_field_ = true;
  pattern.prefix_ = std::move(prefix);
  pattern.suffix_ = std::move(suffix);
  pattern.set_width(width);
  return pattern;
}

std::string FramePattern::folder() const { return prefix_.substr(0, base_start(prefix_)); }

void FramePattern::set_width(size_t width) {
  width_ = std::max<size_t>(checked_width("the width", width), 1);
  is_width_open_ = false;
}

std::string FramePattern::name(Frame frame) const {
  std::string out;
  name(frame, out);
  return out;
}

void FramePattern::name(Frame frame, std::string& out) const {
  out = prefix_;
  if (!has_field_) return;
  char number[16];
  const char* const end = std::to_chars(number, number + sizeof number, frame).ptr;
  const size_t sign = frame < 0 ? 1 : 0;
  const auto length = static_cast<size_t>(end - number);
  out.append(number, sign);
  if (length < width_) out.append(width_ - length, '0');
  out.append(number + sign, length - sign);
  out += suffix_;
}

std::string_view FramePattern::number_in(std::string_view file_name) const {
  const std::string_view prefix = std::string_view(prefix_).substr(base_start(prefix_));
  const size_t around = prefix.size() + suffix_.size();
  if (!has_field_ || file_name.size() <= around) return {};
  if (!file_name.starts_with(prefix) || !file_name.ends_with(suffix_)) return {};
  return file_name.substr(prefix.size(), file_name.size() - around);
}

std::optional<Frame> FramePattern::match(std::string_view file_name) const {
  const std::string_view number = number_in(file_name);
  const std::optional<Frame> frame = frame_from_digits(number);
  if (!frame) return std::nullopt;
  const bool is_padded = number[*frame < 0 ? 1 : 0] == '0' && number.size() > 1;
  const bool fits = number.size() == width_ || (number.size() > width_ && !is_padded);
  return fits ? frame : std::nullopt;
}

std::string FramePattern::in_style(Style style, const std::string& range) const {
  const bool is_run = style == Style::hash || style == Style::at;
  const std::string field = range + field_text(style, is_run && is_width_open_ ? 1 : width_, suffix_);
  if (style != Style::percent) return prefix_ + field + suffix_;
  return replaced(prefix_, "%", "%%") + field + replaced(suffix_, "%", "%%");
}

std::string FramePattern::text() const { return has_field_ ? in_style(style_, "") : prefix_; }

std::string FramePattern::canonical(const FrameRange& frames) const {
  if (!has_field_) return prefix_;
  // A "#" behind the field would be taken for one of its own, "[1-5]%04d" further on, once "%%", for the field.
  const bool is_taken_wrong = suffix_.starts_with('#') || suffix_.find("]%") != std::string::npos;
  const Style style = is_taken_wrong ? Style::percent : Style::hash;
  return in_style(style, "[" + frames.text() + "]");
}

}  // namespace orb::frames
