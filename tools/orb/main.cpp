// The orb tool: the command line, the library's start and end, and the exit status.
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>

#include "exit_codes.h"
#include "help.h"
#include "interrupt.h"
#include "isolation.h"
#include "options.h"
#include "orbbase/host.h"
#include "orbbase/support/err.h"
#include "reports.h"
#include "verbs.h"

namespace orb::tool {
namespace {

constexpr const char* kFooter =
    "\nExit status: 0 done, 1 some inputs failed, 2 usage, 3 no input, 4 input or\n"
    "output error, 5 a loss was refused, 75 worth another try, 130 interrupted.\n"
    "The manual says more: man orb, and man orb-VERB.";

// A file that got the number of a closed standard stream would be mixed with messages. What stands in fails on
// use, as the closed one would.
void hold_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));  // the lowest number
  }
}

// Help or the version, which the parser prints.
int print_help(const CLI::App& app, const CLI::ParseError& request) {
  errno = 0;
  const int status = app.exit(request);
  if (std::cout.flush()) return status;
  if (errno != EPIPE) say(ERR_ERROR, std::string("Cannot write to standard output; ") + std::strerror(errno));
  return kIoError;
}

// What stands where a verb, or a verb's action, must, and is none: the parser complains of the want alone.
std::string mistyped_verb(const CLI::App& app) {
  const std::vector<CLI::App*> verbs = app.get_subcommands();
  if (!verbs.empty()) return mistyped_verb(*verbs.front());
  const std::vector<std::string> words = app.remaining();
  const auto word =
      std::ranges::find_if(words, [](const std::string& text) { return !text.starts_with('-'); });
  return app.get_require_subcommand_min() == 0 || word == words.end() ? "" : ", not \"" + *word + "\"";
}

// The verb on the command line, or null with the exit status when there is nothing to run.
const Verb* parse(CLI::App& app, const std::vector<Verb>& verbs, int argc, const char* const* argv,
                  int* status) {
  std::vector<std::string> arguments = guarded_arguments(argc, argv);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& problem) {
    if (problem.get_exit_code() == 0) {
      *status = print_help(app, problem);
      return nullptr;
    }
    say(ERR_ERROR,
        problem.what() + mistyped_verb(app) + "; orb --help and orb VERB --help say what can be asked");
    *status = kUsage;
    return nullptr;
  }
  for (const Verb& verb : verbs) {
    if (verb.parser->parsed()) return &verb;
  }
  *status = kUsage;
  return nullptr;
}

int run_with_library(const Verb& verb) {
  if (HOST_start(nullptr) != 0) {
    // The library's code is the same for a configuration that it cannot use and for want of memory; what was
    // reported tells them apart. Trying again would not mend the former.
    const bool was_memory = last_error_text() == kNoMemoryText;
    throw Failure(was_memory ? kRetry : kIoError, "the library cannot start");
  }
  const int status = verb.run();
  HOST_stop();
  return status;
}

// The exit status, and what there is to say about it.
int run_caught(const std::function<int()>& work) {
  try {
    return work();
  } catch (const Failure& failure) {
    if (*failure.what() != '\0') say(ERR_ERROR, failure.what());
    return failure.code();
  } catch (const std::bad_alloc&) {
    say(ERR_ERROR, "out of memory");
    return kRetry;
  }
}

int run(const Verb& verb) {
  start_reports(*verb.options);
  apply_limits(verb.options->limits);
  choose_isolation(verb.options->isolate);
  if (!verb.needs_library) return verb.run();
  if (isolation() == nullptr) return run_with_library(verb);
  return guard([&] { return run_caught([&] { return run_with_library(verb); }); });
}

int main_of_tool(int argc, const char* const* argv) {
  hold_standard_streams();
  watch_interrupts();
  CLI::App app("Reads, describes and converts raster image files.", "orb");
  app.set_help_flag("-h,--help", "print this help and exit");
  app.set_version_flag("-V,--version", "orb " ORB_TOOL_VERSION, "print the version and exit");
  app.require_subcommand(1);
  app.footer(kFooter);
  app.formatter_fn([](const CLI::App* parser, const std::string& path, CLI::AppFormatMode) {
    return help_text(option_table(*parser, path));
  });
  const std::vector<Verb> verbs = {
      add_formats(app), add_info(app),   add_convert(app), add_merge_fields(app), add_check(app),
      add_diff(app),    add_view(app),   add_play(app),    add_ls(app),           add_frames(app),
      add_curve(app),   add_config(app), add_rsrc(app),    add_completion(app),   add_plugin_check(app)};
  int status = kUsage;
  const Verb* verb = parse(app, verbs, argc, argv, &status);
  if (verb == nullptr) return status;
  return run_caught([&] { return run(*verb); });
}

}  // namespace
}  // namespace orb::tool

int main(int argc, char** argv) {
  try {
    return orb::tool::main_of_tool(argc, argv);
  } catch (const std::bad_alloc&) {
    std::fputs("orb: error: out of memory\n", stderr);
    return orb::tool::kRetry;
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "orb: error: %s\n", problem.what());
    return orb::tool::kIoError;
  }
}
