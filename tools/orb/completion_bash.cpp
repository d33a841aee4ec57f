// Completion for bash, with nothing but what bash itself has.
#include "completion_scripts.h"

namespace orb::tool {
namespace {

constexpr const char* kBashHead = R"(# Completion of orb for bash, made by "orb completion bash".
)";

// The three functions above it put what they know into "found": bash's functions see their caller's variables.
constexpr const char* kBody = R"(
_orb_formats() {
  local key rest
  found=
  while read -r key rest && [[ -n $key ]]; do
    [[ $key == key ]] || found+=" $key"
  done < <("${COMP_WORDS[0]/#\~/$HOME}" formats 2>/dev/null)
}

# Candidates for the current word, of which the part in "before" is settled.
_orb_words() {
  mapfile -t COMPREPLY < <(compgen -P "$before" -W "$1" -- "$current")
}

_orb_complete_value() {
  local choices=${found#* }
  case $found in
    file)
      mapfile -t COMPREPLY < <(compgen -P "$before" -f -- "$current")
      compopt -o filenames 2>/dev/null
      ;;
    format) _orb_formats && _orb_words "$found" ;;
    'choice '*) _orb_words "$choices" ;;
    'list '*)
      before+=${current%"${current##*,}"}
      current=${current##*,}
      _orb_words "$choices"
      compopt -o nospace 2>/dev/null
      ;;
  esac
}

_orb() {
  local current=${COMP_WORDS[COMP_CWORD]} path=orb found= option= before= ended= place=0 i word
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if [[ -n $option ]]; then
      [[ $word == = ]] || option=  # bash makes three words of --to=png
    elif [[ -z $ended && $word == -- ]]; then
      ended=yes
    elif [[ -z $ended && $word == -?* ]]; then
      _orb_value "$path" "$word"
      [[ -z $found ]] || option=$word
    else
      _orb_verbs "$path"
      if [[ " $found " == *" $word "* ]]; then path+=" $word"; else ((++place)); fi
    fi
  done
  if [[ -n $option ]]; then
    [[ $current != = ]] || current=
    _orb_value "$path" "$option"
    _orb_complete_value
  elif [[ -z $ended && $current == --*=* ]]; then
    before=${current%%=*}=
    current=${current#*=}
    _orb_value "$path" "${before%=}"
    _orb_complete_value
  elif [[ -z $ended && $current == -* ]]; then
    _orb_options "$path"
    _orb_words "$found"
  else
    _orb_verbs "$path"
    if [[ -n $found ]]; then
      _orb_words "$found"
    else
      _orb_value "$path" "$place"
      _orb_complete_value
    fi
  fi
}

complete -F _orb orb
)";

std::string found_line(const std::string& cases, const std::string& found) {
  return "    " + cases + ") found=" + quoted(found, Shell::posix) + " ;;\n";
}

std::string function(const std::string& comment, const char* name, const char* subject,
                     const std::string& cases) {
  return "\n# " + comment + "\n" + name + "() {\n  found=\n  case " + subject + " in\n" + cases +
         "  esac\n}\n";
}

std::string verbs_function(const std::vector<const VerbEntry*>& all) {
  std::string cases;
  for (const VerbEntry* entry : all) {
    std::vector<std::string> names;
    for (const VerbEntry& verb : entry->verbs) names.push_back(verb_name(verb));
    if (!names.empty()) cases += found_line(quoted(entry->path, Shell::posix), joined(names, " "));
  }
  return function("_orb_verbs PATH: the verbs that may follow.", "_orb_verbs", "$1", cases);
}

std::string options_function(const std::vector<const VerbEntry*>& all) {
  std::string cases;
  for (const VerbEntry* entry : all) {
    std::vector<std::string> names;
    for (const OptionEntry& option : entry->options) names.push_back(joined(option.names, " "));
    cases += found_line(quoted(entry->path, Shell::posix), joined(names, " "));
  }
  return function("_orb_options PATH: the options of the verb.", "_orb_options", "$1", cases);
}

std::string value_text(const OptionEntry& option) {
  if (option.kind == ValueKind::file) return "file";
  if (option.kind == ValueKind::format) return "format";
  if (option.kind == ValueKind::text) return "text";
  return (option.is_list ? "list " : "choice ") + joined(option.choices, " ");
}

std::string value_function(const std::vector<const VerbEntry*>& all) {
  std::string cases;
  for (const VerbEntry* entry : all) {
    for (const OptionEntry& option : entry->options) {
      if (option.kind == ValueKind::none) continue;
      std::vector<std::string> patterns;
      for (const std::string& name : option.names)
        patterns.push_back(quoted(entry->path + " " + name, Shell::posix));
      cases += found_line(joined(patterns, " | "), value_text(option));
    }
    for (const OptionEntry& argument : entry->arguments) {
      const auto place = std::to_string(&argument - entry->arguments.data());
      const std::string path = quoted(entry->path + " ", Shell::posix);
      cases += found_line(path + (argument.is_repeated ? "[0-9]*" : place), value_text(argument));
    }
  }
  return function(
      "_orb_value PATH OPTION, or PATH PLACE of an argument: what the value is. Nothing for a flag.",
      "_orb_value", "\"$1 $2\"", cases);
}

}  // namespace

std::string bash_completion(const VerbEntry& tool) {
  const std::vector<const VerbEntry*> all = with_verbs_below(tool);
  return kBashHead + verbs_function(all) + options_function(all) + value_function(all) + kBody;
}

}  // namespace orb::tool
