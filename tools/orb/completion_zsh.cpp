// Completion for zsh.
#include <string_view>

#include "completion_scripts.h"

namespace orb::tool {
namespace {

constexpr const char* kZshHead = R"zsh(#compdef orb
# Completion of orb for zsh, made by "orb completion zsh".

_orb_formats() {
  local -a lines=(${(f)"$(_call_program formats ${(q)words_of_orb[1]} formats 2>/dev/null)"})
  # The table ends before the words on its columns.
  lines=(${lines[2,-1]:#access:*})
  compadd -- ${lines%% *}
}
)zsh";

constexpr const char* kFoot = R"(
# The verb's own completion loses sight of the tool's name.
_orb() {
  local -a words_of_orb=("${words[@]}")
  _orb_verb_orb
}

if [[ $funcstack[1] == _orb ]]; then _orb "$@"; else compdef _orb orb; fi
)";

// A text where _arguments gives some characters a meaning.
std::string escaped(const std::string& text, std::string_view special) {
  std::string out;
  for (const char c : text) {
    if (special.find(c) != std::string_view::npos) out += '\\';
    out += c;
  }
  return out;
}

std::string function_name(const VerbEntry& entry) {
  std::string name = "_orb_verb_" + entry.path;
  for (char& c : name) c = c == ' ' ? '_' : c;
  return name;
}

std::string action_of(const OptionEntry& entry) {
  if (entry.kind == ValueKind::file) return "_files";
  if (entry.kind == ValueKind::format) return "_orb_formats";
  if (entry.kind == ValueKind::text || entry.is_optional) return " ";
  const std::string choices = joined(entry.choices, " ");
  return entry.is_list ? "_values -s , " + entry.value + " " + choices : "(" + choices + ")";
}

std::string value_of(const OptionEntry& entry) {
  if (entry.value.empty()) return "";
  return (entry.is_optional ? "::" : ":") + escaped(entry.value, ":\\") + ":" + action_of(entry);
}

// Each name by itself; one excludes the others and itself, unless it may be given again.
std::string option_lines(const OptionEntry& option) {
  std::string lines;
  const bool is_again = option.is_repeated || option.names.back() == "--verbose";
  for (const std::string& name : option.names) {
    std::string spec = is_again ? "*" : "(" + joined(option.names, " ") + ")";
    spec += name;
    if (!option.value.empty()) spec += !name.starts_with("--") ? "+" : option.is_optional ? "=-" : "=";
    spec += "[" + escaped(brief(option.help), "[]\\") + "]" + value_of(option);
    lines += " \\\n    " + quoted(spec, Shell::posix);
  }
  return lines;
}

std::string argument_line(const OptionEntry& argument) {
  const std::string place = argument.is_repeated ? "*" : argument.is_required ? "" : ":";
  return " \\\n    " + quoted(place + value_of(argument), Shell::posix);
}

std::string verbs_part(const VerbEntry& entry) {
  std::string cases;
  for (const VerbEntry& verb : entry.verbs) {
    cases += "        " + verb_name(verb) + ") " + function_name(verb) + " ;;\n";
  }
  return "  case $state in\n    verb) _describe verb verbs ;;\n    rest)\n      case $line[1] in\n" + cases +
         "      esac\n      ;;\n  esac\n";
}

std::string verb_list(const VerbEntry& entry) {
  std::string list = "  local state\n  local -a line\n  local -a verbs=(\n";
  for (const VerbEntry& verb : entry.verbs) {
    list += "    " + quoted(verb_name(verb) + ":" + brief(verb.help), Shell::posix) + "\n";
  }
  return list + "  )\n";
}

std::string verb_function(const VerbEntry& entry) {
  const bool has_verbs = !entry.verbs.empty();
  std::string text = "\n" + function_name(entry) + "() {\n";
  if (has_verbs) text += verb_list(entry);
  text += has_verbs ? "  _arguments -C -S" : "  _arguments -s -S";
  for (const OptionEntry& option : entry.options) text += option_lines(option);
  for (const OptionEntry& argument : entry.arguments) text += argument_line(argument);
  if (has_verbs) text += " \\\n    '1:verb:->verb' \\\n    '*::rest:->rest'";
  text += "\n";
  if (has_verbs) text += verbs_part(entry);
  return text + "}\n";
}

}  // namespace

std::string zsh_completion(const VerbEntry& tool) {
  std::string script = kZshHead;
  for (const VerbEntry* entry : with_verbs_below(tool)) script += verb_function(*entry);
  return script + kFoot;
}

}  // namespace orb::tool
