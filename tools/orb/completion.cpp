// orb completion: the scripts that let shells complete the command line.
#include <CLI/CLI.hpp>

#include "completion_scripts.h"
#include "exit_codes.h"
#include "results.h"
#include "verbs.h"

namespace orb::tool {
namespace {

struct ShellScript {
  const char* shell;
  std::string (*script)(const VerbEntry&);
};
constexpr ShellScript kScripts[] = {
    {"bash", bash_completion}, {"zsh", zsh_completion}, {"fish", fish_completion}};

struct CompletionOptions {
  CommonOptions common;
  std::string shell;
};

int run(const CLI::App& app, const CompletionOptions& options) {
  const VerbEntry tool = option_table(app, "orb");
  Results results(options.common);
  if (options.common.json) {
    results.text = to_text(option_table_json(tool));
  } else if (options.shell.empty()) {
    throw Failure(kUsage, "completion: for which shell, bash, zsh or fish?");
  }
  for (const ShellScript& known : kScripts) {
    if (!options.common.json && options.shell == known.shell) results.text = known.script(tool);
  }
  results.deliver();
  return kDone;
}

}  // namespace

std::string quoted(const std::string& text, Shell shell) {
  std::string word = "'";
  for (const char c : text) {
    const bool is_special = c == '\'' || (shell == Shell::fish && c == '\\');
    if (!is_special) {
      word += c;
    } else {
      word += shell == Shell::fish ? std::string("\\") + c : "'\\''";
    }
  }
  return word + "'";
}

std::string brief(const std::string& help) { return help.substr(0, help.find_first_of(";:")); }

std::string joined(const std::vector<std::string>& words, const char* between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

Verb add_completion(CLI::App& app) {
  CLI::App* verb =
      app.add_subcommand("completion", "print the script that lets a shell complete orb's command line");
  const auto options = std::make_shared<CompletionOptions>();
  add_common_options(*verb, options->common, "write the script to a file");
  verb->get_option("--json")->description("print the table of verbs and options as JSON; no shell is needed");
  take_one_of(*verb->add_option("SHELL", options->shell, "the shell: bash, zsh or fish"),
              {"bash", "zsh", "fish"});
  return {verb, &options->common, [&app, options] { return run(app, *options); }, false};
}

}  // namespace orb::tool
