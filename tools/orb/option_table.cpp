// The option table, from the parser.
#include "option_table.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>

namespace orb::tool {
namespace {

// The name of a value says what it is; an argument that has been given no other is a file.
struct KindName {
  std::string_view value;
  ValueKind kind;
};
constexpr KindName kKindNames[] = {
    {"FILE", ValueKind::file}, {"TEXT", ValueKind::file}, {"KEY", ValueKind::format}};
constexpr const char* kKindTexts[] = {"none", "text", "file", "format", "choice"};

// The choices in "NAME:{one,two}", as the parser describes a value.
std::vector<std::string> choices_in(const std::string& type) {
  std::vector<std::string> choices;
  const size_t opened = type.find('{');
  const size_t closed = type.rfind('}');
  if (opened == std::string::npos || closed == std::string::npos) return choices;
  for (size_t at = opened + 1; at <= closed;) {
    const size_t end = std::min(type.find(',', at), closed);
    std::string choice = type.substr(at, end - at);
    choices.push_back(CLI::detail::trim(choice));
    at = end + 1;
  }
  return choices;
}

ValueKind kind_of(const std::string& type, const std::vector<std::string>& choices) {
  if (!choices.empty()) return ValueKind::choice;
  for (const KindName& known : kKindNames) {
    if (type == known.value) return known.kind;
  }
  return ValueKind::text;
}

OptionEntry entry_of(const CLI::Option& option) {
  OptionEntry entry;
  for (const std::string& name : option.get_snames()) entry.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) entry.names.push_back("--" + name);
  const std::string type = option.get_type_name();
  const std::string value = type.substr(0, type.find(':'));
  if (option.get_items_expected_max() > 0) {
    entry.choices = choices_in(type);
    entry.kind = kind_of(value, entry.choices);
    entry.value = entry.names.empty() ? option.get_name(true) : value;
    entry.is_repeated = option.get_expected_max() >= CLI::detail::expected_max_vector_size;
  }
  if (option.get_items_expected_max() == 0 && !value.empty()) {
    entry.value = value;
    entry.is_optional = true;
  }
  entry.is_list = option.get_delimiter() == ',';
  entry.is_required = option.get_required();
  entry.is_common = option.get_group() == kCommonGroup;
  entry.help = option.get_description();
  if (!option.get_default_str().empty()) entry.help += "; default: " + option.get_default_str();
  return entry;
}

Json option_json(const OptionEntry& entry) {
  return {{"names", entry.names},
          {"value", entry.value},
          {"kind", kKindTexts[static_cast<size_t>(entry.kind)]},
          {"choices", entry.choices},
          {"list", entry.is_list},
          {"optional", entry.is_optional},
          {"repeated", entry.is_repeated},
          {"required", entry.is_required},
          {"common", entry.is_common},
          {"help", entry.help}};
}

}  // namespace

VerbEntry option_table(const CLI::App& parser, const std::string& path) {
  VerbEntry entry = {path, parser.get_description(), parser.get_footer(), {}, {}, {}};
  for (const CLI::Option* option : parser.get_options({})) {
    (option->get_positional() ? entry.arguments : entry.options).push_back(entry_of(*option));
  }
  for (const CLI::App* verb : parser.get_subcommands({})) {
    entry.verbs.push_back(option_table(*verb, path + " " + verb->get_name()));
  }
  return entry;
}

std::vector<const VerbEntry*> with_verbs_below(const VerbEntry& entry) {
  std::vector<const VerbEntry*> all = {&entry};
  for (const VerbEntry& verb : entry.verbs) {
    const std::vector<const VerbEntry*> below = with_verbs_below(verb);
    all.insert(all.end(), below.begin(), below.end());
  }
  return all;
}

std::string verb_name(const VerbEntry& entry) { return entry.path.substr(entry.path.rfind(' ') + 1); }

Json option_table_json(const VerbEntry& entry) {
  Json json = {{"path", entry.path},
               {"help", entry.help},
               {"arguments", Json::array()},
               {"options", Json::array()},
               {"verbs", Json::array()}};
  for (const OptionEntry& argument : entry.arguments) json["arguments"].push_back(option_json(argument));
  for (const OptionEntry& option : entry.options) json["options"].push_back(option_json(option));
  for (const VerbEntry& verb : entry.verbs) json["verbs"].push_back(option_table_json(verb));
  return json;
}

}  // namespace orb::tool
