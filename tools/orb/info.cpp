// orb info: everything that a file declares, and which of it was assumed because the file does not say.
#include <CLI/CLI.hpp>
#include <cstring>

#include "image.h"
#include "input.h"
#include "json.h"
#include "printable.h"
#include "reports.h"
#include "results.h"
#include "samples.h"
#include "verbs.h"

namespace orb::tool {
namespace {

struct InfoOptions {
  CommonOptions common;
  std::vector<std::string> files;
  InputOptions input;
  SequenceOptions sequence;
};

struct TextField {
  const char* key;
  const char* label;
  char* ORB_INFO::*field;
};
constexpr TextField kTexts[] = {
    {"file_name", "file name", &ORB_INFO::text1}, {"description", "description", &ORB_INFO::text3},
    {"program", "program", &ORB_INFO::text4},     {"host", "host", &ORB_INFO::text5},
    {"user", "user", &ORB_INFO::text6},           {"date", "date", &ORB_INFO::text7},
    {"elapsed", "elapsed", &ORB_INFO::text8},     {"filter", "filter", &ORB_INFO::text9},
    {"storage", "storage", &ORB_INFO::text10}};

struct GroupField {
  const char* key;
  const char* label;
  ORB_CHANNELS ORB_IFD::*field;
};
constexpr GroupField kGroups[] = {{"color", "colour", &ORB_IFD::color},
                                  {"matte", "matte", &ORB_IFD::matte},
                                  {"aux", "auxiliary", &ORB_IFD::aux},
                                  {"index", "index", &ORB_IFD::index}};

constexpr const char* kColors[] = {"red", "green", "blue", "white"};

// "unknown" stands where a text is missing.
bool is_set(const char* text) {
  return text != nullptr && *text != '\0' && std::strcmp(text, "unknown") != 0;
}

bool is_assumed(const ORB_INFO& info, uint64_t bit) { return (info.word_e & bit) != 0; }

bool has_group(const ORB_IFD& ifd, const GroupField& group) {
  const bool is_index_beside_color = std::strcmp(group.key, "index") == 0 && ifd.color.count > 0;
  return (ifd.*group.field).count > 0 && !is_index_beside_color;
}

// ---- As text ----

void line(std::string& text, const std::string& label, const std::string& value, bool assumed = false) {
  text += "  " + label + std::string(label.size() < 16 ? 16 - label.size() : 1, ' ') + value +
          (assumed ? "  (assumed)" : "") + "\n";
}

std::string curve_text(const ORB_RESPONSE_CURVE& curve) {
  if (curve.kind == ORB_CURVE_GAMMA) return "gamma " + number(curve.gamma);
  return "gamma " + number(curve.gamma) + ", " + counted(curve.channel_count, "table") + " of " +
         std::to_string(curve.resolution) + ", " + type_text(static_cast<uint32_t>(curve.curve_type)) +
         (curve.curve_type == ORB_C_INTEGER ? " " + std::to_string(curve.depth) + " bits" : "");
}

void describe_image(std::string& text, const ORB_INFO& info, const ORB_IFD& ifd, bool all) {
  line(text, "size", size_text(ifd.window));
  line(text, "window", window_text(ifd.window));
  const bool has_own_active = std::memcmp(&ifd.window, &ifd.active_window, sizeof ifd.window) != 0;
  if (has_own_active || all) line(text, "active window", window_text(ifd.active_window));
  line(text, "rows stored", (ifd.orientation & ORB_BOTTOM_UP) != 0 ? "bottom up" : "top down");
  for (const GroupField& group : kGroups) {
    const ORB_CHANNELS& channels = ifd.*group.field;
    if (!has_group(ifd, group)) continue;
    line(text, group.label,
         counted(channels.count, "channel") + ", " + type_text(channels.type) + ", " +
             std::to_string(channels.width) + " bits" +
             (is_set(channels.name) ? ", \"" + printable(channels.name) + "\"" : ""));
  }
  line(text, "response", curve_text(ifd.curve), is_assumed(info, ORB_ASSUMED_GAMMA));
  line(text, "pixel aspect", number(ifd.pixel_aspect), is_assumed(info, ORB_ASSUMED_PIXEL_ASPECT));
  if (is_set(ifd.name)) line(text, "picture", printable(ifd.name));
  if (!all) return;
  line(text, "picture size", std::to_string(ifd.pair_a[0]) + " x " + std::to_string(ifd.pair_a[1]));
  line(text, "image kind", std::to_string(ifd.image_kind));
  line(text, "aspect kind", std::to_string(ifd.aspect_kind));
}

void describe_frame(std::string& text, const ORB_INFO& info, bool all) {
  line(text, "frame", std::to_string(info.frame_number), is_assumed(info, ORB_ASSUMED_FRAME_NUMBER));
  line(text, "frame rate", number(info.frame_rate), is_assumed(info, ORB_ASSUMED_FRAME_RATE));
  if (info.frame_count > 0 || all) line(text, "frames in file", std::to_string(info.frame_count));
  if (info.field_value != 0 || all) line(text, "field value", std::to_string(info.field_value));
  if (info.job_number >= 0) line(text, "job", std::to_string(info.job_number));
  if (!all) return;
  line(text, "field mode", std::to_string(info.field_mode));
  line(text, "driver words",
       std::to_string(info.words[0]) + " " + std::to_string(info.words[1]) + " " +
           std::to_string(info.int_d) + " " + std::to_string(info.word_f));
}

std::string as_text(const std::string& file, const Image& image, bool all) {
  const ORB_INFO& info = image->info;
  std::string text = printable(file) + "\n";
  line(text, "format", std::string(image->format->key) + " (" + printable(image->format->name) + ")");
  if (info.image_count != 1) line(text, "images", std::to_string(info.image_count));
  for (int32_t i = 0; i < info.image_count; ++i) {
    if (info.image_count > 1) text += "  image " + std::to_string(i) + ":\n";
    describe_image(text, info, info.images[i], all);
  }
  std::string primaries;
  for (size_t i = 0; i < std::size(kColors); ++i) {
    const float* xyz = info.chromaticity + 3 * i;
    primaries += std::string(i == 0 ? "" : ", ") + kColors[i] + " " + number(xyz[0]) + " " + number(xyz[1]) +
                 " " + number(xyz[2]);
  }
  line(text, "primaries", primaries, is_assumed(info, ORB_ASSUMED_PRIMARIES));
  describe_frame(text, info, all);
  for (const TextField& field : kTexts) {
    if (is_set(info.*field.field)) line(text, field.label, printable(info.*field.field));
  }
  return text;
}

// ---- As JSON ----

Json window_json(const ORB_WINDOW& w) {
  return {{"left", w.left}, {"right", w.right}, {"bottom", w.bottom}, {"top", w.top}};
}

Json curve_json(const ORB_RESPONSE_CURVE& curve, bool assumed) {
  Json json = {{"kind", curve.kind == ORB_CURVE_GAMMA ? "gamma" : "table"},
               {"gamma", as_written(curve.gamma)},
               {"assumed", assumed}};
  if (curve.kind != ORB_CURVE_GAMMA) {
    json["tables"] = curve.channel_count;
    json["resolution"] = curve.resolution;
    json["type"] = type_text(static_cast<uint32_t>(curve.curve_type));
    json["depth"] = curve.depth;
  }
  return json;
}

Json image_json(const ORB_INFO& info, const ORB_IFD& ifd) {
  Json groups = Json::object();
  for (const GroupField& group : kGroups) {
    const ORB_CHANNELS& channels = ifd.*group.field;
    if (!has_group(ifd, group)) continue;
    groups[group.key] = {{"count", channels.count},
                         {"type", type_text(channels.type)},
                         {"width", channels.width},
                         {"name", is_set(channels.name) ? Json(channels.name) : Json()}};
  }
  return {
      {"width", width_of(ifd.window)},
      {"height", height_of(ifd.window)},
      {"window", window_json(ifd.window)},
      {"active_window", window_json(ifd.active_window)},
      {"orientation", (ifd.orientation & ORB_BOTTOM_UP) != 0 ? "bottom-up" : "top-down"},
      {"groups", groups},
      {"curve", curve_json(ifd.curve, is_assumed(info, ORB_ASSUMED_GAMMA))},
      {"pixel_aspect",
       {{"value", as_written(ifd.pixel_aspect)}, {"assumed", is_assumed(info, ORB_ASSUMED_PIXEL_ASPECT)}}},
      {"picture",
       {{"name", is_set(ifd.name) ? Json(ifd.name) : Json()},
        {"width", ifd.pair_a[0]},
        {"height", ifd.pair_a[1]}}},
      {"image_kind", ifd.image_kind},
      {"aspect_kind", ifd.aspect_kind}};
}

Json primaries_json(const ORB_INFO& info) {
  Json json = Json::object();
  for (size_t i = 0; i < std::size(kColors); ++i) {
    const float* xyz = info.chromaticity + 3 * i;
    json[kColors[i]] = {as_written(xyz[0]), as_written(xyz[1]), as_written(xyz[2])};
  }
  json["assumed"] = is_assumed(info, ORB_ASSUMED_PRIMARIES);
  return json;
}

Json as_json(const std::string& file, const Image& image) {
  const ORB_INFO& info = image->info;
  Json texts = Json::object();
  for (const TextField& field : kTexts) {
    if (is_set(info.*field.field)) texts[field.key] = info.*field.field;
  }
  Json images = Json::array();
  for (int32_t i = 0; i < info.image_count; ++i) images.push_back(image_json(info, info.images[i]));
  return {
      {"file", file},
      {"result", "read"},
      {"format",
       {{"key", image->format->key}, {"name", image->format->name}, {"extension", image->format->extension}}},
      {"images", images},
      {"primaries", primaries_json(info)},
      {"frame",
       {{"number", {{"value", info.frame_number}, {"assumed", is_assumed(info, ORB_ASSUMED_FRAME_NUMBER)}}},
        {"rate",
         {{"value", as_written(info.frame_rate)}, {"assumed", is_assumed(info, ORB_ASSUMED_FRAME_RATE)}}},
        {"count", info.frame_count},
        {"field_value", info.field_value},
        {"field_mode", info.field_mode}}},
      {"job", info.job_number},
      {"texts", texts},
      {"driver_words", {info.words[0], info.words[1], info.int_d, info.word_f}}};
}

// ---- The verb ----

int run(const InfoOptions& options) {
  Results told(options.common);
  FileResults found;
  const auto look = [&](const std::string& file, FileResults& results) {
    const Image image = open_input(file, options.input);
    results.text += as_text(file, image, options.common.verbosity > 0) + "\n";
    if (options.common.json) results.list.push_back(as_json(file, image));
  };
  const auto note_failure = [&](const std::string& file, const Failure&, FileResults& results) {
    results.list.push_back({{"file", file}, {"result", "failed"}, {"error", last_error_text()}});
  };
  const int status = for_each_file(options.files, options.sequence, {look, note_failure, nullptr}, found);
  if (!found.text.empty()) found.text.pop_back();  // the empty line is between files
  told.text = options.common.json ? to_text({{"files", found.list}}) : found.text;
  told.deliver();
  return status;
}

}  // namespace

Verb add_info(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("info", "say everything that files declare, and what of it is assumed");
  const auto options = std::make_shared<InfoOptions>();
  add_common_options(*verb, options->common, "write the results to a file");
  verb->add_option("FILE", options->files, "images and sequences to look at; - is standard input")
      ->required();
  add_input_options(*verb, options->input);
  add_sequence_options(*verb, options->sequence);
  return {verb, &options->common, [options] { return run(*options); }};
}

}  // namespace orb::tool
