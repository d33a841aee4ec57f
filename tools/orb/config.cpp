// orb config: every setting with its value and where that came from.
#include <CLI/CLI.hpp>
#include <cstdlib>

#include "exit_codes.h"
#include "json.h"
#include "orbbase/core.h"
#include "plugin_folders.h"
#include "printable.h"
#include "results.h"
#include "verbs.h"

namespace orb::tool {
namespace {

// Environment variables of the tool and the plug-in search; the library knows its own.
constexpr const char* kVariables[] = {"QV_ORB_PLUGIN_PATH", "NO_COLOR", "TERM", "COLORTERM", "TMPDIR"};

struct Setting {
  std::string name;
  std::string value;
  std::string origin;
  int32_t line;
};

std::vector<Setting> all_settings() {
  std::vector<Setting> settings;
  ORB_SETTING setting = {};
  for (int32_t i = 0; ORB_setting(i, &setting) != 0; ++i) {
    settings.push_back({setting.name, setting.value, setting.origin, setting.line});
  }
  for (const char* name : kVariables) {
    const char* value = std::getenv(name);
    settings.push_back({name, value == nullptr ? "" : value, value == nullptr ? "built-in" : name, 0});
  }
  return settings;
}

std::string as_text() {
  std::string text;
  for (const Setting& setting : all_settings()) {
    text += printable(setting.name) + " = " + printable(setting.value) + "  (" + printable(setting.origin) +
            (setting.line > 0 ? ":" + std::to_string(setting.line) : "") + ")\n";
  }
  text += "\nplug-in folders, in the order of the search:\n";
  return text + plugin_folders_text();
}

std::string as_json() {
  Json settings = Json::array();
  for (const Setting& setting : all_settings()) {
    Json entry = {{"name", setting.name}, {"value", setting.value}, {"origin", setting.origin}};
    if (setting.line > 0) entry["line"] = setting.line;
    settings.push_back(entry);
  }
  return to_text({{"settings", settings}, {"plugin_folders", plugin_folders_json()}});
}

}  // namespace

Verb add_config(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("config", "list every setting, its value and where it came from");
  const auto options = std::make_shared<CommonOptions>();
  add_common_options(*verb, *options, "write the list to a file");
  return {verb, options.get(), [options] {
            Results results(*options);
            results.text = options->json ? as_json() : as_text();
            results.deliver();
            return static_cast<int>(kDone);
          }};
}

}  // namespace orb::tool
