// The description that a conversion wants, compared aspect by aspect with what a writer would store.
#include "description.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <ctime>
#include <optional>
#include <type_traits>

#include "exit_codes.h"
#include "image.h"
#include "printable.h"
#include "samples.h"

namespace orb::tool {
namespace {

// What the header fields of formats round away is no loss.
constexpr float kRounding = 1e-4F;

bool is_near(float a, float b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return a == b || std::fabs(a - b) <= kRounding * std::fmax(1.0F, std::fmax(std::fabs(a), std::fabs(b)));
}

const ORB_IFD& first(const ORB_INFO& info) { return info.images[0]; }
ORB_IFD& first(ORB_INFO& info) { return info.images[0]; }

// Drivers and the library put "unknown" where a text is missing.
std::string text_or_none(const char* text) {
  return text == nullptr || std::strcmp(text, "unknown") == 0 ? "" : text;
}

std::string number_or_none(int64_t value, int64_t none) { return value == none ? "" : std::to_string(value); }

// ---- How an aspect is shown; "" when the description does not have or declare it ----

template <ORB_CHANNELS ORB_IFD::*Group>
std::string show_group(const ORB_INFO& info) {
  const ORB_CHANNELS& group = first(info).*Group;
  if (group.count <= 0) return "";
  return counted(group.count, "channel") + " " + form_text(group.type, group.width);
}

template <ORB_CHANNELS ORB_IFD::*Group>
std::string show_group_name(const ORB_INFO& info) {
  const ORB_CHANNELS& group = first(info).*Group;
  return group.count > 0 ? text_or_none(group.name) : "";
}

template <auto Field, int64_t None>
std::string show_number(const ORB_INFO& info) {
  if constexpr (std::is_member_object_pointer_v<decltype(Field)> && requires { info.*Field; }) {
    return number_or_none(static_cast<int64_t>(info.*Field), None);
  } else {
    return number_or_none(static_cast<int64_t>(first(info).*Field), None);
  }
}

template <char* ORB_INFO::*Text>
std::string show_text(const ORB_INFO& info) {
  return text_or_none(info.*Text);
}

std::string show_size(const ORB_INFO& info) { return size_text(first(info).window); }
std::string show_window(const ORB_INFO& info) { return window_text(first(info).window); }
std::string show_active(const ORB_INFO& info) { return window_text(first(info).active_window); }

std::string show_curve(const ORB_INFO& info) {
  const ORB_RESPONSE_CURVE& curve = first(info).curve;
  if ((info.word_e & ORB_ASSUMED_GAMMA) != 0) return "";
  if (curve.kind == ORB_CURVE_GAMMA) return "gamma " + number(curve.gamma);
  return counted(curve.channel_count, "table") + " of " + std::to_string(curve.resolution);
}

std::string show_primaries(const ORB_INFO& info) {
  if ((info.word_e & ORB_ASSUMED_PRIMARIES) != 0) return "";
  std::string text;
  for (const float value : info.chromaticity) text += (text.empty() ? "" : " ") + number(value);
  return text;
}

std::string show_pixel_aspect(const ORB_INFO& info) {
  return (info.word_e & ORB_ASSUMED_PIXEL_ASPECT) != 0 ? "" : number(first(info).pixel_aspect);
}
std::string show_frame_rate(const ORB_INFO& info) {
  return (info.word_e & ORB_ASSUMED_FRAME_RATE) != 0 ? "" : number(info.frame_rate);
}
std::string show_frame_number(const ORB_INFO& info) {
  return (info.word_e & ORB_ASSUMED_FRAME_NUMBER) != 0 ? "" : std::to_string(info.frame_number);
}
std::string show_picture_name(const ORB_INFO& info) { return text_or_none(first(info).name); }
std::string show_picture_size(const ORB_INFO& info) {
  const int32_t* size = first(info).pair_a;
  return size[0] == 0 && size[1] == 0 ? "" : std::to_string(size[0]) + " x " + std::to_string(size[1]);
}
std::string show_words(const ORB_INFO& info) {
  if (info.words[0] == 0 && info.words[1] == 0 && info.int_d == 0 && info.word_f == 0) return "";
  return std::to_string(info.words[0]) + " " + std::to_string(info.words[1]) + " " +
         std::to_string(info.int_d) + " " + std::to_string(info.word_f);
}

// ---- Whether two descriptions agree, where the shown text does not tell ----

bool is_same_curve(const ORB_INFO& a, const ORB_INFO& b) {
  const ORB_RESPONSE_CURVE& p = first(a).curve;
  const ORB_RESPONSE_CURVE& q = first(b).curve;
  if (((a.word_e ^ b.word_e) & ORB_ASSUMED_GAMMA) != 0 || p.kind != q.kind) return false;
  if (p.kind == ORB_CURVE_GAMMA) return is_near(p.gamma, q.gamma);
  if (p.channel_count != q.channel_count || p.resolution != q.resolution || p.curve_type != q.curve_type ||
      p.depth != q.depth || p.tables == nullptr || q.tables == nullptr) {
    return false;
  }
  const size_t entry_bytes = p.curve_type == ORB_C_FLOAT ? 4 : p.depth == 8 ? 1 : 2;
  for (int32_t i = 0; i < p.channel_count; ++i) {
    if (std::memcmp(p.tables[i], q.tables[i], static_cast<size_t>(p.resolution) * entry_bytes) != 0)
      return false;
  }
  return true;
}

bool is_same_primaries(const ORB_INFO& a, const ORB_INFO& b) {
  if (((a.word_e ^ b.word_e) & ORB_ASSUMED_PRIMARIES) != 0) return false;
  for (size_t i = 0; i < std::size(a.chromaticity); ++i) {
    if (!is_near(a.chromaticity[i], b.chromaticity[i])) return false;
  }
  return true;
}

bool is_same_pixel_aspect(const ORB_INFO& a, const ORB_INFO& b) {
  return ((a.word_e ^ b.word_e) & ORB_ASSUMED_PIXEL_ASPECT) == 0 &&
         is_near(first(a).pixel_aspect, first(b).pixel_aspect);
}

// A number that is read back as the same one is kept, whether the file declares it or the library assumes it.
bool is_same_frame_number(const ORB_INFO& a, const ORB_INFO& b) { return a.frame_number == b.frame_number; }

// Local time in a form, as seconds since 1970; nothing for a text that is not exactly what the form gives.
std::optional<int64_t> moment_in(const char* form, const char* text) {
  std::tm local = {};
  local.tm_isdst = -1;
  const char* const end = strptime(text, form, &local);
  if (end == nullptr || *end != '\0') return std::nullopt;
  const std::time_t moment = std::mktime(&local);
  char shown[64];
  const bool comes_back = localtime_r(&moment, &local) != nullptr &&
                          std::strftime(shown, sizeof shown, form, &local) > 0 &&
                          std::strcmp(shown, text) == 0;
  return comes_back ? std::optional<int64_t>(moment) : std::nullopt;
}

// The moment of a date in one of the library's own forms: seconds since 1970 in braces, or local time as "%c" has it or
// as file headers do.
std::optional<int64_t> moment_of(const char* text) {
  int64_t seconds = 0;
  if (*text == '{') {
    const auto result = std::from_chars(text + 1, text + std::strlen(text), seconds);
    return result.ec == std::errc() ? std::optional(seconds) : std::nullopt;
  }
  const std::optional<int64_t> moment = moment_in("%c", text);
  return moment ? moment : moment_in("%Y:%m:%d %H:%M:%S", text);
}

bool is_same_date(const ORB_INFO& a, const ORB_INFO& b) {
  const std::string before = text_or_none(a.text7);
  const std::string after = text_or_none(b.text7);
  const std::optional<int64_t> moment = moment_of(before.c_str());
  return before == after || (moment && moment == moment_of(after.c_str()));
}

// A writer that measures its own time puts that there.
bool has_elapsed(const ORB_INFO&, const ORB_INFO& stored) { return !text_or_none(stored.text8).empty(); }

bool is_same_frame_rate(const ORB_INFO& a, const ORB_INFO& b) {
  return ((a.word_e ^ b.word_e) & ORB_ASSUMED_FRAME_RATE) == 0 && is_near(a.frame_rate, b.frame_rate);
}

// ---- How an aspect is given up ----

template <ORB_CHANNELS ORB_IFD::*Group>
void drop_group(ORB_INFO& info) {
  (first(info).*Group).count = 0;
}
template <ORB_CHANNELS ORB_IFD::*Group>
void drop_group_name(ORB_INFO& info) {
  (first(info).*Group).name = nullptr;
}
template <auto Field, int64_t None>
void drop_number(ORB_INFO& info) {
  if constexpr (requires { info.*Field; }) {
    info.*Field = static_cast<std::remove_reference_t<decltype(info.*Field)>>(None);
  } else {
    first(info).*Field = static_cast<std::remove_reference_t<decltype(first(info).*Field)>>(None);
  }
}

// ORB_open puts the machine's and the user's name and the time where there is no text; a copy adds nothing.
char kNoText[] = "unknown";
template <char* ORB_INFO::*Text>
void drop_text(ORB_INFO& info) {
  info.*Text = kNoText;
}

void drop_curve(ORB_INFO& info) {
  first(info).curve = {ORB_CURVE_GAMMA, 2.2F, 0, 1, 256, ORB_C_INTEGER, 12, nullptr};
  info.word_e |= ORB_ASSUMED_GAMMA;
}

void drop_primaries(ORB_INFO& info) {
  ORB_INFO defaults;
  ORB_info_init(&defaults);
  std::memcpy(info.chromaticity, defaults.chromaticity, sizeof info.chromaticity);
  info.word_e |= ORB_ASSUMED_PRIMARIES;
}

void drop_pixel_aspect(ORB_INFO& info) {
  first(info).pixel_aspect = 1.0F;
  info.word_e |= ORB_ASSUMED_PIXEL_ASPECT;
}

void drop_frame_rate(ORB_INFO& info) {
  info.frame_rate = 29.97F;
  info.word_e |= ORB_ASSUMED_FRAME_RATE;
}

void drop_frame_number(ORB_INFO& info) {
  info.frame_number = 1;
  info.word_e |= ORB_ASSUMED_FRAME_NUMBER;
}

void move_to(ORB_WINDOW& window, int64_t left, int64_t bottom) {
  window.right = static_cast<int32_t>(window.right - left);
  window.top = static_cast<int32_t>(window.top - bottom);
  window.left = static_cast<int32_t>(window.left - left);
  window.bottom = static_cast<int32_t>(window.bottom - bottom);
}

// The picture moves to the origin, and its active window with it.
void drop_window(ORB_INFO& info) {
  ORB_IFD& ifd = first(info);
  const ORB_WINDOW before = ifd.window;
  move_to(ifd.window, before.left, before.bottom);
  move_to(ifd.active_window, before.left, before.bottom);
}

void drop_active(ORB_INFO& info) { first(info).active_window = first(info).window; }
void drop_picture_name(ORB_INFO& info) { first(info).name = nullptr; }
void drop_picture_size(ORB_INFO& info) { first(info).pair_a[0] = first(info).pair_a[1] = 0; }
void drop_words(ORB_INFO& info) {
  info.words[0] = info.words[1] = info.int_d = 0;
  info.word_f = 0;
}

// What a pixel layout leaves out shows in no description, but is given up by name like the rest.
std::string show_nothing(const ORB_INFO&) { return ""; }
void drop_nothing(ORB_INFO&) {}

// ---- The table ----

struct Aspect {
  const char* name;    // of --drop and of the loss
  const char* family;  // a name that drops several, or ""
  const char* what;
  std::string (*show)(const ORB_INFO& info);
  bool (*is_same)(const ORB_INFO& a, const ORB_INFO& b);  // null: when the shown texts are equal
  void (*drop)(ORB_INFO& info);                           // null: cannot be given up
  bool is_samples;                                        // a change would change the samples
};

// The order of rows in the file and the word on the storage method are not here: they say how a picture is
// kept, not what it is.
constexpr Aspect kAspects[] = {
    {"size", "", "size", show_size, nullptr, nullptr, true},
    {"color", "", "colour", show_group<&ORB_IFD::color>, nullptr, drop_group<&ORB_IFD::color>, true},
    {"matte", "", "matte", show_group<&ORB_IFD::matte>, nullptr, drop_group<&ORB_IFD::matte>, true},
    {"aux", "", "auxiliary", show_group<&ORB_IFD::aux>, nullptr, drop_group<&ORB_IFD::aux>, true},
    {"index", "", "colour index", show_group<&ORB_IFD::index>, nullptr, drop_group<&ORB_IFD::index>, true},
    {"window", "", "place of the window", show_window, nullptr, drop_window, false},
    {"active-window", "", "active window", show_active, nullptr, drop_active, false},
    {"curve", "", "response curve", show_curve, is_same_curve, drop_curve, false},
    {"primaries", "", "primaries", show_primaries, is_same_primaries, drop_primaries, false},
    {"pixel-aspect", "", "pixel aspect", show_pixel_aspect, is_same_pixel_aspect, drop_pixel_aspect, false},
    {"frame-rate", "frame", "frame rate", show_frame_rate, is_same_frame_rate, drop_frame_rate, false},
    {"frame-number", "frame", "frame number", show_frame_number, is_same_frame_number, drop_frame_number,
     false},
    {"frame-count", "frame", "number of frames", show_number<&ORB_INFO::frame_count, 0>, nullptr,
     drop_number<&ORB_INFO::frame_count, 0>, false},
    {"field-value", "frame", "field value", show_number<&ORB_INFO::field_value, 0>, nullptr,
     drop_number<&ORB_INFO::field_value, 0>, false},
    {"field-mode", "frame", "field mode", show_number<&ORB_INFO::field_mode, 1>, nullptr,
     drop_number<&ORB_INFO::field_mode, 1>, false},
    {"job", "texts", "job number", show_number<&ORB_INFO::job_number, -1>, nullptr,
     drop_number<&ORB_INFO::job_number, -1>, false},
    {"file-name", "texts", "file-name text", show_text<&ORB_INFO::text1>, nullptr,
     drop_text<&ORB_INFO::text1>, false},
    {"description", "texts", "description", show_text<&ORB_INFO::text3>, nullptr, drop_text<&ORB_INFO::text3>,
     false},
    {"program", "texts", "program name", show_text<&ORB_INFO::text4>, nullptr, drop_text<&ORB_INFO::text4>,
     false},
    {"host", "texts", "host name", show_text<&ORB_INFO::text5>, nullptr, drop_text<&ORB_INFO::text5>, false},
    {"user", "texts", "user name", show_text<&ORB_INFO::text6>, nullptr, drop_text<&ORB_INFO::text6>, false},
    {"date", "texts", "creation date", show_text<&ORB_INFO::text7>, is_same_date, drop_text<&ORB_INFO::text7>,
     false},
    {"elapsed", "texts", "elapsed time", show_text<&ORB_INFO::text8>, has_elapsed,
     drop_text<&ORB_INFO::text8>, false},
    {"filter", "texts", "filter name", show_text<&ORB_INFO::text9>, nullptr, drop_text<&ORB_INFO::text9>,
     false},
    {"color-name", "names", "name of the colour group", show_group_name<&ORB_IFD::color>, nullptr,
     drop_group_name<&ORB_IFD::color>, false},
    {"matte-name", "names", "name of the matte group", show_group_name<&ORB_IFD::matte>, nullptr,
     drop_group_name<&ORB_IFD::matte>, false},
    {"aux-name", "names", "name of the auxiliary group", show_group_name<&ORB_IFD::aux>, nullptr,
     drop_group_name<&ORB_IFD::aux>, false},
    {"index-name", "names", "name of the index group", show_group_name<&ORB_IFD::index>, nullptr,
     drop_group_name<&ORB_IFD::index>, false},
    {"picture-name", "names", "picture format", show_picture_name, nullptr, drop_picture_name, false},
    {"picture-size", "", "picture size", show_picture_size, nullptr, drop_picture_size, false},
    {"image-kind", "", "kind of image", show_number<&ORB_IFD::image_kind, 1>, nullptr,
     drop_number<&ORB_IFD::image_kind, 1>, false},
    {"aspect-kind", "", "kind of aspect", show_number<&ORB_IFD::aspect_kind, 1>, nullptr,
     drop_number<&ORB_IFD::aspect_kind, 1>, false},
    {"driver-words", "", "words for the driver", show_words, nullptr, drop_words, false},
    {"channels", "", "colour channels", show_nothing, nullptr, drop_nothing, false},
    {"bits", "", "bits of the samples", show_nothing, nullptr, drop_nothing, false},
};

// What a format without exact samples loses, as long as no setting of its own has asked for it.
const Loss kLossySamples = {"samples", "samples: they are not kept exactly", true,
                            "--allow-lossy, or --set with the format's own quality"};

Loss describe(const Aspect& aspect, const std::string& wanted, const std::string& stored) {
  std::string text = std::string(aspect.what) + ": " + wanted;
  text += stored.empty() || stored == wanted ? " is not kept" : " becomes " + stored;
  return {aspect.name, text, !aspect.is_samples};
}

}  // namespace

Description::Description(const ORB_IMAGE& source) : info_(source.info), image_(source.info.images[0]) {
  info_.images = &image_;
  info_.image_count = 1;
  info_.settings = nullptr;
  info_.extension = nullptr;
  info_.write_option = 0;
  info_.reserved_a = 0;
  info_.word_e &= ~static_cast<uint64_t>(ORB_LOSSY_SAMPLES);
  if (info_.job_number == 0) info_.job_number = -1;  // 0 would fetch one from the environment
  if (image_.color.count > 0) image_.index.count = 0;
  for (char** text : {&info_.text1, &info_.text3, &info_.text4, &info_.text5, &info_.text6, &info_.text7,
                      &info_.text8, &info_.text9, &info_.text10}) {
    if (*text == nullptr) *text = kNoText;
  }
}

Description::Description(const Description& other)
    : info_(other.info_), image_(other.image_), moment_(other.moment_) {
  info_.images = &image_;
  if (info_.text7 == other.moment_.data()) info_.text7 = moment_.data();
}

bool Description::shorten_date() {
  if (info_.text7 == moment_.data()) return false;
  const std::optional<int64_t> moment = moment_of(info_.text7);
  if (!moment) return false;
  moment_ = "{" + std::to_string(*moment) + "}";
  info_.text7 = moment_.data();
  return true;
}

void Description::drop(const std::string& name) {
  bool is_known = false;
  for (const Aspect& aspect : kAspects) {
    if (aspect.drop == nullptr ||
        (name != aspect.name && (*aspect.family == '\0' || name != aspect.family))) {
      continue;
    }
    aspect.drop(info_);
    is_known = true;
  }
  if (!is_known) throw Failure(kUsage, "--drop " + name + ": expecting one of " + drop_names());
}

void Description::reshape(const ORB_IFD& form) {
  image_.window = form.window;
  image_.active_window = form.active_window;
  std::memcpy(image_.pair_a, form.pair_a, sizeof image_.pair_a);
  image_.color = form.color;
  image_.matte = form.matte;
  image_.aux = form.aux;
  image_.index = form.index;
}

bool Description::has_channels() const {
  return image_.color.count > 0 || image_.matte.count > 0 || image_.aux.count > 0 || image_.index.count > 0;
}

ORB_INFO Description::record(std::string& key, std::string& file, const ORB_LUT* lut) const {
  ORB_INFO record = info_;
  record.magic = ORB_INFO_MAGIC;
  record.key = key.data();
  record.handle = file.data();
  record.open_option = 1;
  record.images = &image_;
  record.write_option = reinterpret_cast<uintptr_t>(lut);
  return record;
}

std::vector<Loss> losses(const Description& wanted, const ORB_INFO& stored) {
  std::vector<Loss> found;
  for (const Aspect& aspect : kAspects) {
    const std::string before = aspect.show(wanted.info());
    const std::string after = aspect.show(stored);
    // What the input does not have cannot be lost; but samples may not appear from nowhere either.
    if (before.empty() && !(aspect.is_samples && !after.empty())) continue;
    const bool is_same = aspect.is_same == nullptr ? before == after : aspect.is_same(wanted.info(), stored);
    if (!is_same) found.push_back(describe(aspect, before.empty() ? "nothing" : before, after));
  }
  if ((stored.word_e & ORB_LOSSY_SAMPLES) != 0) found.push_back(kLossySamples);
  return found;
}

std::string drop_names() {
  std::string names = "texts, names, frame";
  for (const Aspect& aspect : kAspects) {
    if (aspect.drop != nullptr) names += std::string(", ") + aspect.name;
  }
  return names;
}

}  // namespace orb::tool
