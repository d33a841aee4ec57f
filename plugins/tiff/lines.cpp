#include "lines.h"

#include <charconv>
#include <cmath>
#include <optional>

#include "metadata.h"
#include "plugins/common/counted_text.h"
#include "plugins/common/description.h"
#include "plugins/common/number_text.h"

namespace orb::tiff {
namespace {

using plugin::CountedText;

constexpr bool kOfFile = true;  // stands on the first page only
constexpr bool kOfPage = false;

struct TextLine {
  std::string_view key;
  bool is_of_file;
  char*& (*of)(ORB_INFO&, ORB_IFD&);
};
constexpr TextLine kTextLines[] = {
    {"date", kOfFile, [](ORB_INFO& info, ORB_IFD&) -> char*& { return info.text7; }},
    {"elapsed", kOfFile, [](ORB_INFO& info, ORB_IFD&) -> char*& { return info.text8; }},
    {"filter", kOfFile, [](ORB_INFO& info, ORB_IFD&) -> char*& { return info.text9; }},
    {"storage", kOfFile, [](ORB_INFO& info, ORB_IFD&) -> char*& { return info.text10; }},
    {"color", kOfPage, [](ORB_INFO&, ORB_IFD& ifd) -> char*& { return ifd.color.name; }},
    {"matte", kOfPage, [](ORB_INFO&, ORB_IFD& ifd) -> char*& { return ifd.matte.name; }},
    {"aux", kOfPage, [](ORB_INFO&, ORB_IFD& ifd) -> char*& { return ifd.aux.name; }},
    {"index", kOfPage, [](ORB_INFO&, ORB_IFD& ifd) -> char*& { return ifd.index.name; }},
};

// Not written when it is this, or assumed.
struct NumberLine {
  std::string_view key;
  bool is_of_file;
  int32_t& (*of)(ORB_INFO&, ORB_IFD&);
  std::optional<int32_t> initial;
  uint64_t assumed;  // the bit of word_e that belongs to it
};
constexpr NumberLine kNumberLines[] = {
    {"frame", kOfFile, [](ORB_INFO& info, ORB_IFD&) -> int32_t& { return info.frame_number; }, std::nullopt,
     ORB_ASSUMED_FRAME_NUMBER},
    {"job", kOfFile, [](ORB_INFO& info, ORB_IFD&) -> int32_t& { return info.job_number; }, -1, 0},
    {"field", kOfFile, [](ORB_INFO& info, ORB_IFD&) -> int32_t& { return info.field_value; }, 0, 0},
    {"left", kOfPage, [](ORB_INFO&, ORB_IFD& ifd) -> int32_t& { return ifd.window.left; }, 0, 0},
    {"bottom", kOfPage, [](ORB_INFO&, ORB_IFD& ifd) -> int32_t& { return ifd.window.bottom; }, 0, 0},
};

struct RealLine {
  std::string_view key;
  bool is_of_file;
  float& (*of)(ORB_INFO&, ORB_IFD&);
  bool (*is_there)(const ORB_IFD&);
  uint64_t assumed;
};
constexpr RealLine kRealLines[] = {
    {"frame-rate", kOfFile, [](ORB_INFO& info, ORB_IFD&) -> float& { return info.frame_rate; },
     [](const ORB_IFD&) { return true; }, ORB_ASSUMED_FRAME_RATE},
    {"gamma", kOfPage, [](ORB_INFO&, ORB_IFD& ifd) -> float& { return ifd.curve.gamma; },
     [](const ORB_IFD& ifd) { return ifd.curve.kind == ORB_CURVE_GAMMA; }, ORB_ASSUMED_GAMMA},
};

bool is_wanted(bool is_of_file, int32_t index) { return !is_of_file || index == 0; }

// ---- Reading ----

owned<char> unescaped(std::string_view text) {
  owned<char> copy = make_zeroed<char>(text.size() + 1);
  if (!copy) return nullptr;
  char* out = copy.get();
  for (size_t i = 0; i < text.size(); ++i) {
    const bool is_escape = text[i] == '\\' && i + 1 < text.size();
    if (is_escape) ++i;
    *out++ = is_escape && text[i] == 'n' ? '\n' : text[i];
  }
  return copy;
}

bool take_text(ORB_INFO& info, ORB_IFD& ifd, int32_t index, std::string_view key, std::string_view value) {
  for (const TextLine& line : kTextLines) {
    char*& field = line.of(info, ifd);
    if (line.key != key || !is_wanted(line.is_of_file, index) || field) continue;
    field = unescaped(value).release();
    return field != nullptr;
  }
  return true;
}

void take_number(ORB_INFO& info, ORB_IFD& ifd, int32_t index, std::string_view key, std::string_view value) {
  for (const NumberLine& line : kNumberLines) {
    const auto number = plugin::number_from_text<int32_t>(value);
    if (line.key != key || !is_wanted(line.is_of_file, index) || !number) continue;
    line.of(info, ifd) = *number;
    plugin::declare(info, line.assumed);
  }
  for (const RealLine& line : kRealLines) {
    const auto number = plugin::number_from_text<float>(value);
    if (line.key != key || !is_wanted(line.is_of_file, index) || !number) continue;
    if (!line.is_there(ifd) || !std::isfinite(*number) || *number <= 0) continue;
    line.of(info, ifd) = *number;
    if (index == 0) plugin::declare(info, line.assumed);
  }
}

// ---- Writing ----

void add_escaped(std::string_view text, CountedText& out) {
  for (const char c : text) {
    if (c == '\n' || c == '\\') out.add('\\');
    out.add(c == '\n' ? 'n' : c);
  }
}

template <class T>
void add_number(std::string_view key, T value, CountedText& out) {
  char digits[32];
  out.add(key);
  out.add('=');
  out.add({digits, static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, value).ptr - digits)});
  out.add('\n');
}

// Dates that fit their tag stand there, and so do the words for the matte's kind.
bool has_other_place(std::string_view key, std::string_view value, const char* text) {
  if (key == "date") return plugin::is_local_date(text);
  return key == "matte" && (value == kAssociated || value == kSeparate);
}

void add_lines(ORB_INFO& info, ORB_IFD& ifd, int32_t index, CountedText& text) {
  for (const TextLine& line : kTextLines) {
    const char* value = line.of(info, ifd);
    if (!is_wanted(line.is_of_file, index) || !plugin::is_given(value) ||
        has_other_place(line.key, value, value)) {
      continue;
    }
    text.add(line.key);
    text.add('=');
    add_escaped(value, text);
    text.add('\n');
  }
  for (const NumberLine& line : kNumberLines) {
    const int32_t value = line.of(info, ifd);
    if (!is_wanted(line.is_of_file, index) || value == line.initial ||
        !plugin::is_declared(info, line.assumed)) {
      continue;
    }
    add_number(line.key, value, text);
  }
  for (const RealLine& line : kRealLines) {
    if (!is_wanted(line.is_of_file, index) || !line.is_there(ifd) ||
        !plugin::is_declared(info, line.assumed)) {
      continue;
    }
    add_number(line.key, line.of(info, ifd), text);
  }
}

}  // namespace

bool take_lines(ORB_IMAGE& image, int32_t index, std::string_view text) {
  ORB_IFD& ifd = image.info.images[index];
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view key = line.substr(0, equals);
    const std::string_view value = line.substr(equals + 1);
    if (!take_text(image.info, ifd, index, key, value)) return false;
    take_number(image.info, ifd, index, key, value);
  }
  return true;
}

owned<char> make_lines(ORB_IMAGE& image, int32_t index) {
  ORB_IFD& ifd = image.info.images[index];
  return plugin::make_text([&](CountedText& text) { add_lines(image.info, ifd, index, text); });
}

}  // namespace orb::tiff
