#include "orbbase/formats/rla/description.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>
#include <iterator>

#include "orbbase/core/ifd_copy.h"
#include "orbbase/core/internal.h"
#include "orbbase/driver.h"
#include "orbbase/formats/rla/number_text.h"
#include "orbbase/support/config/real.h"
#include "orbbase/support/fmt.h"

namespace orb::rla {
namespace {

constexpr const char* kStorage = "run length encoded";
constexpr char kNoText[] = "unknown";

struct TypeCode {
  int64_t in_file;
  uint32_t type;
};
constexpr TypeCode kTypeCodes[] = {{0, ORB_C_INTEGER}, {4, ORB_C_FLOAT}, {5, ORB_C_DOUBLE}};
constexpr uint32_t kUnknownType = 0;

// A group of channels: where its type and width stand.
struct Group {
  ORB_CHANNELS ORB_IFD::*group;
  int64_t Header::*count;
  int64_t Header::*type;
  int64_t Header::*bits;
};
constexpr Group kGroups[] = {
    {&ORB_IFD::color, &Header::color_count, &Header::color_type, &Header::color_bits},
    {&ORB_IFD::matte, &Header::matte_count, &Header::matte_type, &Header::matte_bits},
    {&ORB_IFD::aux, &Header::aux_count, &Header::aux_type, &Header::aux_bits},
};

struct Window {
  int32_t ORB_WINDOW::*edge;
  int64_t Header::*window;
  int64_t Header::*active;
};
constexpr Window kWindows[] = {
    {&ORB_WINDOW::left, &Header::window_left, &Header::active_left},
    {&ORB_WINDOW::right, &Header::window_right, &Header::active_right},
    {&ORB_WINDOW::bottom, &Header::window_bottom, &Header::active_bottom},
    {&ORB_WINDOW::top, &Header::window_top, &Header::active_top},
};

// In the order of ORB_INFO.chromaticity.
constexpr Text Header::*kPrimaries[] = {&Header::red, &Header::green, &Header::blue, &Header::white};

struct FileText {
  char* ORB_INFO::*text;
  Text Header::*field;
  bool is_new;  // not in the older revision
};
constexpr FileText kFileTexts[] = {
    {&ORB_INFO::text1, &Header::file_name, false}, {&ORB_INFO::text3, &Header::description, false},
    {&ORB_INFO::text4, &Header::program, false},   {&ORB_INFO::text5, &Header::machine, false},
    {&ORB_INFO::text6, &Header::user, false},      {&ORB_INFO::text7, &Header::date, false},
    {&ORB_INFO::text8, &Header::time, true},       {&ORB_INFO::text9, &Header::filter, true},
};

bool is_current(const Header& header) { return header.revision == kCurrentRevision; }

int32_t no_memory() {
  out_of_memory();
  return ORB_E_MEMORY;
}

// ---- Reading a header ----

uint32_t type_of(int64_t code) {
  for (const TypeCode& row : kTypeCodes) {
    if (row.in_file == code) return row.type;
  }
  return kUnknownType;
}

bool has_gamma(const Header& header) {
  return header.gamma.chars[std::strspn(header.gamma.chars, " \t\n\v\f\r")] != '\0';
}

// An empty text is a gamma of 0. False when it is neither empty nor a number.
bool read_gamma(const Header& header, float* gamma_out) {
  *gamma_out = 0;
  return !has_gamma(header) || config::parse_real(header.gamma.chars, gamma_out);
}

void set_flag(uint64_t& flags, uint64_t flag, bool is_on) { flags = is_on ? flags | flag : flags & ~flag; }

void describe_groups(const Header& header, ORB_IFD& ifd) {
  for (const Group& row : kGroups) {
    ORB_CHANNELS& group = ifd.*row.group;
    group.count = static_cast<int32_t>(header.*row.count);
    group.type = is_current(header) ? type_of(header.*row.type) : static_cast<uint32_t>(ORB_C_INTEGER);
    group.width = is_current(header) ? static_cast<int32_t>(header.*row.bits) : 8;
  }
  ifd.index.count = 0;
  ifd.index.type = ORB_C_INTEGER;
  ifd.index.width = 8;
}

void describe_windows(const Header& header, ORB_IFD& ifd) {
  for (const Window& row : kWindows) {
    ifd.window.*row.edge = static_cast<int32_t>(header.*row.window);
    ifd.active_window.*row.edge = static_cast<int32_t>(header.*row.active);
  }
}

// The picture's size and pixel aspect: those of the named format, or else what header and window say. Returns
// whether somebody declared the aspect.
bool describe_aspect(const Header& header, ORB_IFD& ifd) {
  if (const FMT_ASPECT* aspect = FMT_find(header.aspect.chars)) {
    ifd.pair_a[0] = aspect->x_resolution;
    ifd.pair_a[1] = aspect->y_resolution;
    ifd.pixel_aspect = aspect->aspect;
    return true;
  }
  ifd.pair_a[0] = ifd.window.right - ifd.window.left + 1;
  ifd.pair_a[1] = ifd.window.top - ifd.window.bottom + 1;
  float ratio = 0;
  if (config::parse_real(header.aspect_ratio.chars, &ratio) && ratio > 0) {
    ifd.pixel_aspect = ratio;
    return true;
  }
  ifd.pixel_aspect =
      ifd.pair_a[1] > 0 ? static_cast<float>(ifd.pair_a[0]) / static_cast<float>(ifd.pair_a[1]) : 1.0F;
  return false;
}

bool name_groups(const Header& header, ORB_IFD& ifd) {
  return replace_text(&ifd.name, header.aspect.chars) &&
         replace_text(&ifd.color.name, header.color_name.chars) && replace_text(&ifd.matte.name, nullptr) &&
         replace_text(&ifd.aux.name, is_current(header) ? header.aux_name.chars : nullptr) &&
         replace_text(&ifd.index.name, nullptr);
}

// Only what a text declares is taken from it, and the z of a point that nobody declared stays too.
void describe_primaries(const Header& header, ORB_INFO& info) {
  bool has_any = false;
  for (size_t i = 0; i < std::size(kPrimaries); ++i) {
    float* const xyz = info.chromaticity + 3 * i;
    if (read_pair((header.*kPrimaries[i]).chars, &xyz[0], &xyz[1]) == 0) continue;
    xyz[2] = 1 - xyz[0] - xyz[1];
    has_any = true;
  }
  set_flag(info.word_e, ORB_ASSUMED_PRIMARIES, !has_any);
}

// Seconds since 1970 behind a brace, as the core puts them there. Any other date is left as it is.
void make_date_readable(Text& date) {
  const char* const text = date.chars;
  if (text[0] != '{') return;
  const char* digits = text + 1 + std::strspn(text + 1, " \t\n\v\f\r");
  if (*digits == '+') ++digits;
  int64_t seconds = 0;
  if (*digits == '-' || std::from_chars(digits, text + std::strlen(text), seconds).ec != std::errc()) return;
  std::tm local = {};
  if (!platform::local_time(static_cast<std::time_t>(seconds), &local)) return;
  char readable[Text::kMostBytes + 1];
  if (std::strftime(readable, sizeof readable, "%c", &local) > 0) date.set(readable);
}

// The indicator has a place in the older revision only for those who say that it is one.
bool has_field(const Header& header, const ORB_INFO& info) {
  return is_current(header) || (info.key && std::strcmp(info.key, "rlb") == 0) ||
         (info.extension && std::strcmp(info.extension, ".rlb") == 0);
}

// ---- Making a header ----

int64_t code_of(uint32_t type) {
  for (const TypeCode& row : kTypeCodes) {
    if (row.type == type) return row.in_file;
  }
  return 0;
}

int64_t bits_of(const ORB_CHANNELS& group) {
  return group.type == ORB_C_FLOAT ? 32 : group.type == ORB_C_DOUBLE ? 64 : group.width;
}

int64_t clamp_frame(int32_t frame) { return frame < -1 ? 0 : std::min(frame, 32767); }

void set_number(Text& field, size_t width, int decimals, float value) {
  field.set(nullptr);
  append_number(field.chars, width, decimals, double{value});
}

void fill_primaries(const ORB_INFO& info, Header& out) {
  for (size_t i = 0; i < std::size(kPrimaries); ++i) {
    Text& field = out.*kPrimaries[i];
    field.set(nullptr);
    if ((info.word_e & ORB_ASSUMED_PRIMARIES) != 0) continue;
    const float* const xyz = info.chromaticity + 3 * i;
    append_number(field.chars, 7, 4, double{xyz[0]});
    append_number(field.chars, 7, 4, double{xyz[1]});
  }
}

}  // namespace

int32_t not_rla(const char* path) {
  orb__report(ORB_MSG_NOT_RLA, path);
  return fail(ORB_E_FORMAT);
}

int32_t describe_image(const Header& header, int32_t index, const char* path, ORB_INFO& info, ORB_IFD& ifd) {
  float gamma = 0;
  if (!is_sound(header) || header.aux_count < 0 || !read_gamma(header, &gamma)) return not_rla(path);
  ORB_response_curve_done(&ifd.curve);
  ifd.curve = {ORB_CURVE_GAMMA, gamma, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
  ifd.image_kind = index == 0 ? 1 : 2;
  ifd.aspect_kind = 1;
  ifd.orientation = ORB_BOTTOM_UP;
  describe_windows(header, ifd);
  describe_groups(header, ifd);
  const bool has_aspect = describe_aspect(header, ifd);
  if (index == 0) {
    set_flag(info.word_e, ORB_ASSUMED_GAMMA, !has_gamma(header));
    set_flag(info.word_e, ORB_ASSUMED_PIXEL_ASPECT, !has_aspect);
  }
  // Of several images the last one's stay, as each header brings its own.
  info.frame_number = static_cast<int32_t>(header.frame_number);
  info.job_number = static_cast<int32_t>(header.job_number);
  return name_groups(header, ifd) ? ORB_OK : no_memory();
}

bool describe_file(const Header& header, ORB_INFO& info) {
  describe_primaries(header, info);
  set_flag(info.word_e, ORB_ASSUMED_FRAME_RATE, true);
  set_flag(info.word_e, ORB_ASSUMED_FRAME_NUMBER, false);
  info.field_value = has_field(header, info) ? static_cast<int32_t>(header.field) : 0;
  Text date = header.date;
  make_date_readable(date);
  for (const FileText& row : kFileTexts) {
    const char* text = (header.*row.field).chars;
    if (row.field == &Header::date) text = date.chars;
    if (row.is_new && !is_current(header)) text = kNoText;
    if (!replace_text(&(info.*row.text), text)) return out_of_memory();
  }
  return replace_text(&info.text10, kStorage) || out_of_memory();
}

void fill_header(const ORB_INFO& info, const ORB_IFD& ifd, Header& out) {
  for (const Window& row : kWindows) {
    out.*row.window = ifd.window.*row.edge;
    out.*row.active = ifd.active_window.*row.edge;
  }
  for (const Group& row : kGroups) {
    const ORB_CHANNELS& group = ifd.*row.group;
    out.*row.count = group.count;
    out.*row.type = code_of(group.type);
    out.*row.bits = bits_of(group);
  }
  for (const FileText& row : kFileTexts) (out.*row.field).set(info.*row.text);
  fill_primaries(info, out);
  out.gamma.set(nullptr);
  // The bit is the first image's.
  const bool is_assumed =
      (info.word_e & ORB_ASSUMED_GAMMA) != 0 && (&ifd == info.images || ifd.curve.gamma == 0);
  if (!is_assumed) set_number(out.gamma, 7, 4, ifd.curve.gamma);
  set_number(out.aspect_ratio, 5, 3, ifd.pixel_aspect);
  out.aspect.set(ifd.name);
  out.color_name.set(ifd.color.name);
  out.aux_name.set(ifd.aux.name);
  out.frame_number = clamp_frame(info.frame_number);
  out.job_number = info.job_number;
  out.field = info.field_value;
  out.revision = kCurrentRevision;
  out.next = 0;
}

bool is_storable(const Header& header) {
  const auto fits = [](int64_t edge) { return edge >= 0 && edge <= INT16_MAX; };
  for (const Window& row : kWindows) {
    if (!fits(header.*row.window) || !fits(header.*row.active)) return false;
  }
  for (const Group& row : kGroups) {
    if (header.*row.count < 0 || header.*row.count > INT16_MAX) return false;
  }
  uint8_t bytes[kHeaderBytes];
  Header stored;
  compose_header(header, bytes);
  parse_header(bytes, stored);
  float gamma = 0;
  return is_sound(stored) && read_gamma(stored, &gamma);
}

}  // namespace orb::rla
