// orb diff: compares the samples of two images row by row and says by how much they differ; with -o it writes
// the differences as an image.
#include "diff.h"

#include <CLI/CLI.hpp>
#include "diff_text.h"
#include "exit_codes.h"
#include "file_diff.h"
#include "results.h"
#include "verbs.h"

namespace orb::tool {
namespace {

constexpr const char* kFooter =
    "\nExit status: 0 match, 1 warning, 2 failure, 3 different sizes, 4 a file cannot be read or written;\n"
    "2 also for a command line that makes no sense, 5 a loss was refused, 75 worth another try,\n"
    "130 interrupted. The manual says more: man orb";

constexpr double kInfinity = std::numeric_limits<double>::infinity();

int compare_one(const DiffOptions& options) {
  FileDiff diff(options);
  const PairEnd end = diff.end();
  if (options.common.json) {
    deliver(options, to_text(diff.summary(end)));
  } else if (is_told(options, end.verdict)) {
    deliver(options, diff.text(end.verdict));
  }
  return end.status;
}

int run(const DiffOptions& options) {
  if (is_sequence(options.a, options.sequence) || is_sequence(options.b, options.sequence)) {
    return compare_sequences(options);
  }
  return compare_one(options);
}

std::string require_number(const std::string& text, double most) {
  double value = 0;
  if (!CLI::detail::lexical_cast(text, value) || !(value >= 0 && value <= most)) {
    return "\"" + text + "\" is not a number from 0" + (most < kInfinity ? " to " + shown(most) : " up");
  }
  return "";
}

void add_number(CLI::App& verb, const char* name, double& value, const char* help, double most) {
  verb.add_option(name, value, help)->type_name("NUMBER")->check([most](const std::string& text) {
    return require_number(text, most);
  });
}

void add_thresholds(CLI::App& verb, DiffOptions& options) {
  constexpr double kMostPercent = 100;
  add_number(verb, "--fail", options.fail.each, "a difference above this fails; default 1e-06", kInfinity);
  add_number(verb, "--fail-percent", options.fail.percent,
             "... in more than this part of the pixels; default 0", kMostPercent);
  add_number(verb, "--hard-fail", options.fail.hard, "one difference above this fails", kInfinity);
  add_number(verb, "--warn", options.warn.each, "a difference above this warns; default 1e-06", kInfinity);
  add_number(verb, "--warn-percent", options.warn.percent,
             "... in more than this part of the pixels; default 0", kMostPercent);
  add_number(verb, "--hard-warn", options.warn.hard, "one difference above this warns", kInfinity);
  add_number(verb, "--scale", options.scale,
             "what the difference image's samples are multiplied by; default 1",
             std::numeric_limits<float>::max());
}

}  // namespace

ExitCode exit_code_of(const Failure& failure) {
  return failure.code() == kNoInput ? kIoError : failure.code();
}

void deliver(const DiffOptions& options, const std::string& text) {
  CommonOptions to_stdout = options.common;
  to_stdout.output.clear();
  Results results(to_stdout);
  results.text = text;
  results.deliver();
}

bool is_told(const DiffOptions& options, Verdict verdict) {
  return verdict != kFileError && (!options.common.is_quiet || verdict >= kFailure);
}

Verb add_diff(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("diff", "compare the samples of two images or sequences");
  const auto options = std::make_shared<DiffOptions>();
  verb->footer(kFooter);
  add_common_options(*verb, options->common, "the image of the differences to write");
  verb->add_option("A", options->a, "an image, or a sequence; - is standard input")->required();
  verb->add_option("B", options->b, "what to compare it with")->required();
  add_thresholds(*verb, *options);
  add_input_options(*verb, options->reading);
  add_sequence_options(*verb, options->sequence);
  add_output_options(*verb, options->writing);
  add_memory_option(*verb, options->memory);
  return {verb, &options->common, [options] { return run(*options); }};
}

}  // namespace orb::tool
