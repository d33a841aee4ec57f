// orb formats: what can be read and written here, where each format came from, and why one is missing.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>

#include "driver_settings.h"
#include "exit_codes.h"
#include "format_choice.h"
#include "json.h"
#include "orbbase/host.h"
#include "plugin_folders.h"
#include "printable.h"
#include "results.h"
#include "verbs.h"

namespace orb::tool {
namespace {

// One kind of channels that a format takes.
struct Group {
  const char* name;
  int32_t count;
  uint32_t widths;  // bit n - 1 set: n bits a sample
};

std::vector<Group> groups_of(const ORB_FORMAT& format) {
  return {{"color", format.channels, format.channel_bits},
          {"matte", format.mattes, format.matte_bits},
          {"aux", format.z_channels, format.z_bits},
          {"palette", format.palette_bits == 0 ? 0 : 1, format.palette_bits}};
}

std::vector<int> widths_of(uint32_t mask) {
  std::vector<int> widths;
  for (int bit = 0; bit < 32; ++bit) {
    if ((mask >> bit & 1U) != 0) widths.push_back(bit + 1);
  }
  return widths;
}

// {1, 2, 3, 8} -> "1-3,8"
std::string widths_text(uint32_t mask) {
  const std::vector<int> widths = widths_of(mask);
  std::string text;
  for (size_t i = 0; i < widths.size();) {
    size_t end = i;
    while (end + 1 < widths.size() && widths[end + 1] == widths[end] + 1) ++end;
    text += (text.empty() ? "" : ",") + std::to_string(widths[i]);
    if (end > i) text += "-" + std::to_string(widths[end]);
    i = end + 1;
  }
  return text.empty() ? "-" : text;
}

std::string text_of(const char* text) { return text == nullptr ? "" : text; }

std::string access_text(int32_t access) {
  std::string text = (access & ORB_ACCESS_READ) != 0 ? "r" : "-";
  text += (access & ORB_ACCESS_WRITE) != 0 ? "w" : "-";
  return text + ((access & ORB_ACCESS_ANY_LINE) != 0 ? "*" : "-");
}

constexpr const char* kStates[] = {"taken",          "cannot be loaded", "missing library",
                                   "missing symbol", "wrong version",    "declined",
                                   "replaced",       "failed check",     "left out"};

const char* state_text(int32_t state) {
  return state >= 0 && state < static_cast<int32_t>(std::size(kStates)) ? kStates[state] : "unknown";
}

std::string channels_text(const ORB_FORMAT& format) {
  std::string text;
  for (const Group& group : groups_of(format)) {
    if (group.count <= 0) continue;
    text += (text.empty() ? "" : " ") + std::to_string(group.count) + " " + group.name + "(" +
            widths_text(group.widths) + ")";
  }
  return text;
}

using Row = std::vector<std::string>;

// Columns as wide as their widest cell.
std::string table(const std::vector<Row>& rows) {
  std::vector<size_t> widths(rows.front().size(), 0);
  for (const Row& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const Row& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line += std::string(widths[i] - row[i].size() + 2, ' ');
    }
    text += line + "\n";
  }
  return text;
}

std::string settings_text(const ORB_FORMAT& format) {
  std::string text;
  for (const ORB_CAPABILITY& capability : capabilities_of(format)) {
    text += std::string("  ") + format.key + ": " + printable(text_of(capability.name)) + " = ";
    if (capability.is_value != 0 || capability.list == nullptr) {
      text += "a number";
    } else {
      for (uint32_t i = 0; i < capability.list->entry_count; ++i) {
        const ORB_CAP_ENTRY& entry = capability.list->entries[i];
        text += (i == 0 ? "" : " | ") + printable(text_of(entry.name)) +
                (entry.code == capability.list->default_code ? " (default)" : "");
      }
    }
    text += (capability.flags & ORB_CAP_UNAVAILABLE) != 0 ? "  (not available)\n" : "\n";
  }
  return text;
}

std::string details_text() {
  std::string settings;
  for (const ORB_FORMAT* format : all_formats()) settings += settings_text(*format);
  std::string text = settings.empty() ? "" : "\nsettings of the drivers:\n" + settings;
  text += "\nmodules:\n";
  for (int32_t i = 0; const HOST_CANDIDATE* candidate = HOST_candidate(i); ++i) {
    text += "  " + printable(candidate->path) + "  " + state_text(candidate->state) +
            (*candidate->reason == '\0' ? "" : ": " + printable(candidate->reason)) + "\n";
  }
  text += "\nfolders, in the order of the search:\n";
  return text + plugin_folders_text();
}

std::string as_text(bool with_details) {
  std::vector<Row> rows = {{"key", "extension", "access", "frames", "name", "channels (bits)", "from"}};
  for (const ORB_FORMAT* format : all_formats()) {
    const std::string module = module_of(*format);
    rows.push_back({printable(text_of(format->key)), printable(text_of(format->extension)),
                    access_text(format->access), format->multi_frame >= 2 ? "many" : "one",
                    printable(text_of(format->name)), channels_text(*format),
                    module.empty() ? "built-in" : printable(module)});
  }
  std::string text = table(rows) + "\naccess: r read, w write, * any scanline in any order\n";
  if (with_details) text += details_text();
  return text;
}

Json settings_json(const ORB_FORMAT& format) {
  Json settings = Json::array();
  for (const ORB_CAPABILITY& capability : capabilities_of(format)) {
    Json entry = {{"name", text_of(capability.name)},
                  {"available", (capability.flags & ORB_CAP_UNAVAILABLE) == 0}};
    if (capability.is_value == 0 && capability.list != nullptr) {
      entry["choices"] = Json::array();
      for (uint32_t i = 0; i < capability.list->entry_count; ++i) {
        const ORB_CAP_ENTRY& choice = capability.list->entries[i];
        entry["choices"].push_back(text_of(choice.name));
        if (choice.code == capability.list->default_code) entry["default"] = text_of(choice.name);
      }
    }
    settings.push_back(entry);
  }
  return settings;
}

Json format_json(const ORB_FORMAT& format) {
  Json channels = Json::object();
  for (const Group& group : groups_of(format)) {
    channels[group.name] = {{"count", group.count}, {"widths", widths_of(group.widths)}};
  }
  const std::string module = module_of(format);
  return {{"key", text_of(format.key)},
          {"extensions", Json::array({text_of(format.extension)})},
          {"name", text_of(format.name)},
          {"description", text_of(format.description)},
          {"read", (format.access & ORB_ACCESS_READ) != 0},
          {"write", (format.access & ORB_ACCESS_WRITE) != 0},
          {"any_line", (format.access & ORB_ACCESS_ANY_LINE) != 0},
          {"multi_frame", format.multi_frame >= 2},
          {"active_window", format.active_window != 0},
          {"channels", channels},
          {"settings", settings_json(format)},
          {"built_in", module.empty()},
          {"module", module.empty() ? Json() : Json(module)}};
}

std::string as_json() {
  Json formats = Json::array();
  for (const ORB_FORMAT* format : all_formats()) formats.push_back(format_json(*format));
  Json candidates = Json::array();
  for (int32_t i = 0; const HOST_CANDIDATE* candidate = HOST_candidate(i); ++i) {
    candidates.push_back({{"path", candidate->path},
                          {"key", candidate->key},
                          {"state", state_text(candidate->state)},
                          {"reason", candidate->reason}});
  }
  return to_text({{"formats", formats}, {"modules", candidates}, {"folders", plugin_folders_json()}});
}

}  // namespace

Verb add_formats(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("formats", "list the formats; with -v also why one is missing");
  const auto options = std::make_shared<CommonOptions>();
  add_common_options(*verb, *options, "write the list to a file");
  return {verb, options.get(), [options] {
            Results results(*options);
            results.text = options->json ? as_json() : as_text(options->verbosity > 0);
            results.deliver();
            return static_cast<int>(kDone);
          }};
}

}  // namespace orb::tool
