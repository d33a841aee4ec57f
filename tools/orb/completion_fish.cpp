// Completion for fish.
#include "completion_scripts.h"

namespace orb::tool {
namespace {

constexpr const char* kFishHead = R"(# Completion of orb for fish, made by "orb completion fish".

function __orb_formats
    set -l tokens (commandline -opc)
    command $tokens[1] formats 2>/dev/null | string match -r '^[^ ]+(?= .*)' | string match -v -r '^(key|access:)$'
end
)";

constexpr const char* kPath = R"(
# True when the verb that has been typed is this one.
function __orb_at
    set -l tokens (commandline -opc)
    set -l path orb
    for word in $tokens[2..-1]
        string match -q -- '-*' $word
        and continue
        contains -- "$path" $__orb_groups
        or break
        set path "$path $word"
    end
    test "$path" = "$argv"
end

complete -c orb -f
)";

std::string word(const std::string& text) { return quoted(text, Shell::fish); }

std::string at(const VerbEntry& entry) { return "complete -c orb -n " + word("__orb_at " + entry.path); }

std::string value_flags(const OptionEntry& option) {
  const std::string choices = joined(option.choices, " ");
  switch (option.kind) {
    case ValueKind::none:
      return "";
    case ValueKind::text:
      return " -x";
    case ValueKind::file:
      return " -r -F";
    case ValueKind::format:
      return " -x -a '(__orb_formats)'";
    case ValueKind::choice:
      break;
  }
  return " -x -a " + word(option.is_list ? "(__fish_append , " + choices + ")" : choices);
}

std::string option_line(const VerbEntry& entry, const OptionEntry& option) {
  std::string line = at(entry);
  for (const std::string& name : option.names) {
    line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  return line + value_flags(option) + " -d " + word(brief(option.help)) + "\n";
}

// fish does not count arguments: a verb that takes a file anywhere offers files.
std::string argument_line(const VerbEntry& entry, const OptionEntry& argument) {
  if (argument.kind == ValueKind::text) return "";
  return at(entry) + (argument.kind == ValueKind::file ? " -F" : value_flags(argument)) + "\n";
}

}  // namespace

std::string fish_completion(const VerbEntry& tool) {
  std::string groups, lines;
  for (const VerbEntry* entry : with_verbs_below(tool)) {
    if (!entry->verbs.empty()) groups += " " + word(entry->path);
    for (const VerbEntry& verb : entry->verbs) {
      lines += at(*entry) + " -a " + verb_name(verb) + " -d " + word(brief(verb.help)) + "\n";
    }
    for (const OptionEntry& argument : entry->arguments) lines += argument_line(*entry, argument);
    for (const OptionEntry& option : entry->options) lines += option_line(*entry, option);
  }
  return std::string(kFishHead) + "\n# What has verbs below it.\nset -g __orb_groups" + groups + "\n" +
         kPath + lines;
}

}  // namespace orb::tool
