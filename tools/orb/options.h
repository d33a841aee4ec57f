// The options that every verb takes, in one place.
#pragma once

#include <string>
#include <vector>

#include "command_line.h"

namespace orb::tool {

struct CommonOptions {
  int verbosity = 0;  // -v: 1, -vv: 2
  bool is_quiet = false;
  bool is_dry_run = false;
  bool force = false;
  bool json = false;
  std::string output;  // "": standard output, for the verbs that print results
  std::string color = "auto";
  std::string progress = "auto";
  std::vector<std::string> limits;  // NAME=SIZE
  std::string isolate;              // "": format code runs in this process
};

// Adds them to a verb. output_help says what -o means there.
void add_common_options(CLI::App& verb, CommonOptions& options, const std::string& output_help);

// An option that may be given several times, one value each time, taken as it stands.
CLI::Option* add_repeated(CLI::App& verb, const std::string& names, std::vector<std::string>& values,
                          const std::string& help);

// The names of a list such as "a, b" as the parser describes choices: for help and completion to find.
[[nodiscard]] std::string as_choices(const std::string& names);

// Makes one of these names, and nothing else, the value of an option. The parser's own words for them come from a
// stream, which without memory loses letters and says nothing.
void take_one_of(CLI::Option& option, const std::vector<std::string>& names);

// Gives the limits that were asked for to the library. Throws Failure(kUsage) for one that makes no sense.
void apply_limits(const std::vector<std::string>& limits);

// A size with an optional K, M, G or T (powers of 1024). Throws Failure(kUsage).
[[nodiscard]] unsigned long long size_from_text(const std::string& text);

// Adds --mem, the memory for turning the rows of an image round, and gives its value in bytes: the largest
// number when it was not given. Throws Failure(kUsage).
void add_memory_option(CLI::App& verb, std::string& memory);
[[nodiscard]] unsigned long long most_spool_bytes(const std::string& memory);

// argv as the parser may have it: a file name in brackets would be taken for a list, so it gets a "./"
// before.
[[nodiscard]] std::vector<std::string> guarded_arguments(int argc, const char* const* argv);

}  // namespace orb::tool
