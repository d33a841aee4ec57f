#include "texts.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>
#include <string_view>

#include "plugins/common/description.h"
#include "plugins/common/number_text.h"
#include "text_encoding.h"

namespace orb::png {
namespace {

struct TextField {
  const char* keyword;
  char*& (*of)(ORB_INFO&);
};
constexpr TextField kTextFields[] = {
    {"Title", [](ORB_INFO& info) -> char*& { return info.text1; }},
    {"Description", [](ORB_INFO& info) -> char*& { return info.text3; }},
    {"Software", [](ORB_INFO& info) -> char*& { return info.text4; }},
    {"Source", [](ORB_INFO& info) -> char*& { return info.text5; }},
    {"Author", [](ORB_INFO& info) -> char*& { return info.text6; }},
    {"Creation Time", [](ORB_INFO& info) -> char*& { return info.text7; }},
    {"orbbase:elapsed-time", [](ORB_INFO& info) -> char*& { return info.text8; }},
    {"orbbase:filter", [](ORB_INFO& info) -> char*& { return info.text9; }},
    {"orbbase:storage", [](ORB_INFO& info) -> char*& { return info.text10; }},
    {"orbbase:picture", [](ORB_INFO& info) -> char*& { return info.images[0].name; }},
    {"orbbase:color", [](ORB_INFO& info) -> char*& { return info.images[0].color.name; }},
    {"orbbase:matte", [](ORB_INFO& info) -> char*& { return info.images[0].matte.name; }},
    {"orbbase:index", [](ORB_INFO& info) -> char*& { return info.images[0].index.name; }},
};

// Numbers are stored when they differ from what a description starts with.
struct NumberField {
  const char* keyword;
  int32_t& (*of)(ORB_INFO&);
  int32_t initial;
  uint64_t assumed;  // the bit of word_e that belongs to it
};
constexpr NumberField kNumberFields[] = {
    {"orbbase:frame", [](ORB_INFO& info) -> int32_t& { return info.frame_number; }, 1,
     ORB_ASSUMED_FRAME_NUMBER},
    {"orbbase:job", [](ORB_INFO& info) -> int32_t& { return info.job_number; }, -1, 0},
    {"orbbase:field", [](ORB_INFO& info) -> int32_t& { return info.field_value; }, 0, 0},
};
constexpr const char* kFrameRateKeyword = "orbbase:frame-rate";

// ---- Reading ----

bool is_international(const png_text& text) { return text.compression >= PNG_ITXT_COMPRESSION_NONE; }

std::string_view bytes_of(const png_text& text) {
  if (!text.text) return {};
  return {text.text, is_international(text) ? text.itxt_length : text.text_length};
}

// A keyword comes from the file: what a terminal might take for a command is masked.
void note_text(Codec& codec, const png_text& text, const char* saying) {
  char keyword[80] = {};
  std::snprintf(keyword, sizeof keyword, "%s", text.key);
  for (char& c : keyword) {
    if (c != '\0' && (c < ' ' || c > '~')) c = '?';
  }
  char remark[160];
  std::snprintf(remark, sizeof remark, "the text \"%s\" %s", keyword, saying);
  plugin::note(codec.stream, remark);
}

enum class Taken { yes, no, out_of_memory };

Taken take_into_field(Codec& codec, ORB_INFO& info, const png_text& text) {
  for (const TextField& row : kTextFields) {
    if (std::strcmp(row.keyword, text.key) != 0) continue;
    char*& field = row.of(info);
    if (field) return Taken::no;
    field = utf8_copy(bytes_of(text), !is_international(text)).release();
    if (!field) return Taken::out_of_memory;
    const bool has_language =
        is_international(text) && ((text.lang && *text.lang) || (text.lang_key && *text.lang_key));
    if (has_language) note_text(codec, text, "loses its language");
    return Taken::yes;
  }
  return Taken::no;
}

bool take_number(ORB_INFO& info, const png_text& text) {
  for (const NumberField& row : kNumberFields) {
    if (std::strcmp(row.keyword, text.key) != 0) continue;
    const auto value = plugin::number_from_text<int32_t>(bytes_of(text));
    if (!value) return false;
    row.of(info) = *value;
    plugin::declare(info, row.assumed);
    return true;
  }
  if (std::strcmp(kFrameRateKeyword, text.key) != 0) return false;
  const auto rate = plugin::number_from_text<float>(bytes_of(text));
  if (!rate) return false;
  info.frame_rate = *rate;
  plugin::declare(info, ORB_ASSUMED_FRAME_RATE);
  return true;
}

bool take_width(const png_text& text, int32_t* width_out) {
  if (std::strcmp(kWidthKeyword, text.key) != 0) return false;
  const auto width = plugin::number_from_text<int32_t>(bytes_of(text));
  if (!width || *width < 1 || *width > 16) return false;
  *width_out = *width;
  return true;
}

std::span<const png_text> texts_of(const Codec& codec) {
  png_textp texts = nullptr;
  int count = 0;
  png_get_text(codec.png, codec.info, &texts, &count);
  return {texts, static_cast<size_t>(count)};
}

// ---- Writing ----

// The texts of one file on their way to the codec, which copies them.
struct TextList {
  png_text texts[std::size(kTextFields) + std::size(kNumberFields) + 2];
  char numbers[std::size(kNumberFields) + 2][32];
  int count = 0;
  int number_count = 0;
};

void add_text(TextList& list, const char* keyword, char* text, Encoding encoding) {
  png_text& added = list.texts[list.count++];
  added = {};
  added.compression = encoding == Encoding::ascii ? PNG_TEXT_COMPRESSION_NONE : PNG_ITXT_COMPRESSION_NONE;
  added.key = const_cast<char*>(keyword);  // the codec library's record is not const; it is only read
  added.text = text;
}

template <class Number>
void add_number(TextList& list, const char* keyword, Number value) {
  char(&text)[32] = list.numbers[list.number_count++];
  *std::to_chars(text, text + sizeof text - 1, value).ptr = '\0';
  add_text(list, keyword, text, Encoding::ascii);
}

// A text that is not UTF-8 is taken for Latin-1, and the handle shows what the file will hold.
bool replace_by_utf8(Codec& codec, const char* keyword, char*& field) {
  owned<char> converted = utf8_copy(field, true);
  if (!converted) return false;
  ERR_free(field);
  field = converted.release();
  char remark[160];
  std::snprintf(remark, sizeof remark, "the text for \"%s\" is not UTF-8; it was taken for Latin-1", keyword);
  plugin::warn(codec.stream, remark);
  return true;
}

bool add_text_fields(Codec& codec, ORB_INFO& info, TextList& list) {
  for (const TextField& row : kTextFields) {
    char*& field = row.of(info);
    if (!plugin::is_given(field)) {
      plugin::drop_text(field);
      continue;
    }
    Encoding encoding = encoding_of(field);
    if (encoding == Encoding::other) {
      if (!replace_by_utf8(codec, row.keyword, field)) return false;
      encoding = Encoding::utf8;
    }
    add_text(list, row.keyword, field, encoding);
  }
  return true;
}

// What is not stored stands in the handle as a reader will find it.
void add_numbers(Codec& codec, ORB_INFO& info, TextList& list) {
  for (const NumberField& row : kNumberFields) {
    int32_t& field = row.of(info);
    if (plugin::is_declared(info, row.assumed) && field != row.initial) {
      add_number(list, row.keyword, field);
      continue;
    }
    field = row.initial;
    info.word_e |= row.assumed;
  }
  if (plugin::settle_frame_rate(codec.stream, info) && info.frame_rate != plugin::kInitialFrameRate) {
    add_number(list, kFrameRateKeyword, info.frame_rate);
  } else {
    info.word_e |= ORB_ASSUMED_FRAME_RATE;
  }
}

}  // namespace

bool take_texts(Codec& codec, ORB_IMAGE& image, int32_t* width_out) {
  *width_out = 0;
  for (const png_text& text : texts_of(codec)) {
    if (take_width(text, width_out) || take_number(image.info, text)) continue;
    const Taken taken = take_into_field(codec, image.info, text);
    if (taken == Taken::no) note_text(codec, text, "is not kept");
    if (taken == Taken::out_of_memory) return false;
  }
  return true;
}

void note_late_texts(Codec& codec, int first_count) {
  int index = 0;
  for (const png_text& text : texts_of(codec)) {
    if (index++ >= first_count) note_text(codec, text, "stands behind the picture and is not kept");
  }
}

bool put_texts(Codec& codec, ORB_IMAGE& image, const Layout& layout) {
  if (!plugin::settle_date(image.info.text7)) return false;
  TextList list;
  if (layout.is_scaled()) add_number(list, kWidthKeyword, layout.width);
  add_numbers(codec, image.info, list);
  if (!add_text_fields(codec, image.info, list)) return false;
  if (list.count == 0) return true;
  const bool is_put =
      guarded(codec, [&codec, &list] { png_set_text(codec.png, codec.info, list.texts, list.count); });
  if (is_put && !codec.is_out_of_memory) return true;
  report_failure(codec, kNoLine);
  return false;
}

}  // namespace orb::png
