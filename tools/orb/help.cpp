// The text of --help, from the option table.
#include "help.h"

namespace orb::tool {
namespace {

constexpr size_t kWidth = 80;
constexpr size_t kHelpColumn = 28;

// The text from a column on, in lines that fit.
std::string wrapped(const std::string& text, size_t column) {
  std::string lines;
  size_t at = 0;
  while (text.size() - at > kWidth - column) {
    const size_t blank = text.rfind(' ', at + kWidth - column);
    if (blank == std::string::npos || blank < at) break;
    lines += text.substr(at, blank - at) + "\n" + std::string(column, ' ');
    at = blank + 1;
  }
  return lines + text.substr(at) + "\n";
}

std::string row(const std::string& name, const std::string& help) {
  std::string line = "  " + name;
  const bool fits = line.size() + 2 <= kHelpColumn;
  line += fits ? std::string(kHelpColumn - line.size(), ' ') : "\n" + std::string(kHelpColumn, ' ');
  return line + wrapped(help, kHelpColumn);
}

std::string shown_name(const OptionEntry& entry) {
  std::string name = entry.names.size() == 1 && entry.names[0].starts_with("--") ? "    " : "";
  for (const std::string& each : entry.names) name += (&each == &entry.names[0] ? "" : ", ") + each;
  if (entry.is_optional) return name + "[=" + entry.value + "]";
  if (!entry.value.empty()) name += (entry.names.empty() ? "" : " ") + entry.value;
  return name + (entry.is_repeated ? "..." : "");
}

std::string rows_of(const std::string& title, const std::vector<OptionEntry>& options, bool is_common) {
  std::string rows;
  for (const OptionEntry& option : options) {
    if (option.is_common != is_common) continue;
    const bool is_demanded = option.is_required && !option.names.empty();
    rows += row(shown_name(option), option.help + (is_demanded ? "; required" : ""));
  }
  return rows.empty() ? "" : "\n" + title + ":\n" + rows;
}

std::string usage(const VerbEntry& entry) {
  std::string line = "Usage: " + entry.path + " [OPTIONS]";
  for (const OptionEntry& option : entry.options) {
    if (option.is_required) line += " " + option.names[0] + " " + option.value;
  }
  for (const OptionEntry& argument : entry.arguments) {
    line += argument.is_required ? " " + shown_name(argument) : " [" + shown_name(argument) + "]";
  }
  return line + (entry.verbs.empty() ? "\n" : " VERB\n");
}

}  // namespace

std::string help_text(const VerbEntry& entry) {
  std::string text = usage(entry) + wrapped(entry.help, 0);
  text += rows_of("Arguments", entry.arguments, false);
  if (!entry.verbs.empty()) text += "\nVerbs:\n";
  for (const VerbEntry& verb : entry.verbs) text += row(verb_name(verb), verb.help);
  text += rows_of("Options", entry.options, false);
  text += rows_of(kCommonGroup, entry.options, true);
  return text + entry.footer + "\n";
}

}  // namespace orb::tool
