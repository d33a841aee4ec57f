// The options that every verb takes, in one place.
#include "options.h"

#include <CLI/CLI.hpp>

#include "exit_codes.h"
#include "numbers.h"
#include "option_table.h"
#include "orbbase/core.h"

namespace orb::tool {
namespace {

struct LimitName {
  const char* name;
  int which;
};
constexpr LimitName kLimits[] = {{"buffer", ORB_LIMIT_BUFFER},
                                 {"handle", ORB_LIMIT_HANDLE},
                                 {"images", ORB_LIMIT_IMAGES},
                                 {"channels", ORB_LIMIT_CHANNELS},
                                 {"pixels", ORB_LIMIT_PIXELS}};

}  // namespace

CLI::Option* add_repeated(CLI::App& verb, const std::string& names, std::vector<std::string>& values,
                          const std::string& help) {
  return verb.add_option(names, values, help)->allow_extra_args(false);
}

std::string as_choices(const std::string& names) { return "{" + names + "}"; }

void take_one_of(CLI::Option& option, const std::vector<std::string>& names) {
  std::string listed;
  for (const std::string& name : names) listed += (listed.empty() ? "" : ",") + name;
  option.check(CLI::IsMember(names).description(as_choices(listed)));
}

void add_common_options(CLI::App& verb, CommonOptions& options, const std::string& output_help) {
  verb.add_option("-o,--output", options.output, output_help)->type_name("FILE");
  const std::string own_group = verb.option_defaults()->get_group();
  verb.option_defaults()->group(kCommonGroup);
  verb.set_help_flag("-h,--help", "print this help and exit");
  verb.set_version_flag("-V,--version", "orb " ORB_TOOL_VERSION, "print the version and exit");
  verb.add_flag("-v,--verbose", options.verbosity, "say what is done; given twice, debugging messages too");
  verb.add_flag("-q,--quiet", options.is_quiet, "say errors only");
  verb.add_flag("-n,--dry-run", options.is_dry_run, "write nothing; say what would be done");
  verb.add_flag("-f,--force", options.force, "replace a file that exists");
  verb.add_flag("--json", options.json, "print the results as JSON");
  CLI::Option* const color =
      verb.add_option("--color", options.color,
                      "colours in messages and pictures: auto, always or never; default: auto, on terminals");
  take_one_of(*color->type_name("WHEN"), {"auto", "always", "never"});
  CLI::Option* const progress = verb.add_option(
      "--progress", options.progress,
      "progress on standard error: auto, bar, plain, json or none; default: auto, a bar on terminals");
  take_one_of(*progress->type_name("HOW"), {"auto", "bar", "plain", "json", "none"});
  add_repeated(verb, "--limit", options.limits,
               "raise or lower a limit on what files claim: buffer or handle, in bytes or with K, M, G or T, "
               "images, channels or pixels")
      ->type_name("NAME=SIZE");
  verb.add_flag("--isolate", options.isolate,
                "run format code in processes of their own, within limits: memory=SIZE (default: 2G), "
                "time=SECONDS of one call (default: 60) and file=SIZE (default: 8G), with commas between; "
                "0: no limit")
      ->type_name("LIMITS");
  verb.option_defaults()->group(own_group);
}

unsigned long long size_from_text(const std::string& text) {
  const size_t unit = text.empty() ? std::string::npos : std::string_view("KMGT").find(text.back());
  const bool has_unit = unit != std::string::npos;
  const size_t shift = has_unit ? 10 * (unit + 1) : 0;
  const auto value = as_number<unsigned long long>(std::string_view(text).substr(0, text.size() - has_unit));
  if (value.value_or(0) == 0 || *value > (~0ULL >> 1 >> shift)) {
    throw Failure(kUsage,
                  "\"" + text + "\" is not a size; expecting a number above 0, or one with K, M, G or T");
  }
  return *value << shift;
}

void apply_limits(const std::vector<std::string>& limits) {
  for (const std::string& limit : limits) {
    const size_t equals = limit.find('=');
    const std::string name = limit.substr(0, equals);
    int which = 0;
    for (const LimitName& known : kLimits) {
      if (name == known.name) which = known.which;
    }
    if (which == 0 || equals == std::string::npos) {
      throw Failure(kUsage, "--limit " + limit +
                                ": expecting buffer=, handle=, images=, channels= or pixels= and a size");
    }
    ORB_limit(which, size_from_text(limit.substr(equals + 1)));
  }
}

void add_memory_option(CLI::App& verb, std::string& memory) {
  verb.add_option(
          "--mem", memory,
          "the most memory for turning rows round, in bytes or with K, M, G or T; default: the limit of one "
          "handle's buffers")
      ->type_name("SIZE");
}

unsigned long long most_spool_bytes(const std::string& memory) {
  return memory.empty() ? ~0ULL : size_from_text(memory);
}

std::vector<std::string> guarded_arguments(int argc, const char* const* argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const bool is_bracketed = argument.size() > 1 && argument.front() == '[' && argument.back() == ']';
    // To the parser an empty value is none at all, and nothing would be isolated.
    const bool is_empty_isolation = argument == "--isolate=";
    arguments.push_back(is_bracketed         ? "./" + argument
                        : is_empty_isolation ? argument + "nothing"
                                             : argument);
  }
  return arguments;
}

}  // namespace orb::tool
