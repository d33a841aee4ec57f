// What can be typed: the verbs, options and arguments, read from the parser itself. Help, completion and the check of
// the manual are made from it.
#pragma once

#include <string>
#include <vector>

#include "command_line.h"
#include "json.h"

namespace orb::tool {

enum class ValueKind { none, text, file, format, choice };

struct OptionEntry {
  std::vector<std::string> names;  // such as -o, --output; none: an argument without a name of its own
  std::string value;               // what the manual calls the value; "" for a flag
  ValueKind kind = ValueKind::none;
  std::vector<std::string> choices;  // where the value is one of a list
  bool is_list = false;              // several choices, with commas between
  bool is_optional = false;          // a flag that may have a value, as in --name=VALUE
  bool is_repeated = false;
  bool is_required = false;
  bool is_common = false;  // every verb has it
  std::string help;
};

struct VerbEntry {
  std::string path;  // as it is typed, such as "orb rsrc add"
  std::string help;
  std::string footer;
  std::vector<OptionEntry> arguments;
  std::vector<OptionEntry> options;
  std::vector<VerbEntry> verbs;
};

// The group of the options that every verb has.
inline constexpr const char* kCommonGroup = "Options of all verbs";

// The parser and all below it; path is how it is typed.
[[nodiscard]] VerbEntry option_table(const CLI::App& parser, const std::string& path);

// The entry and all below it, in the order of the table.
[[nodiscard]] std::vector<const VerbEntry*> with_verbs_below(const VerbEntry& entry);

// The last word of the path.
[[nodiscard]] std::string verb_name(const VerbEntry& entry);

[[nodiscard]] Json option_table_json(const VerbEntry& entry);

}  // namespace orb::tool
