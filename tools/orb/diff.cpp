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
    "\nExit status: 0 match, 1 warning, 2 failure, 3 different sizes, 4 a file cannot\n"
    "be read or written; 2 also for a command line that makes no sense, 5 a loss was\n"
    "refused, 75 worth another try, 130 interrupted. The manual says more:\n"
    "man orb-diff.";

constexpr double kInfinity = std::numeric_limits<double>::infinity();

int compare_one(const DiffOptions& options) {
  const PairResult result = compare_pair(options);
  if (options.common.json) {
    show(to_text(result.summary));
  } else if (is_told(options, result.end.verdict)) {
    show(result.text);
  }
  return result.end.status;
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
  add_number(verb, "--fail", options.fail.each,
             "a sample that differs by more than this fails; integers count as parts of their range, 0 to 1; "
             "default: 0.000001",
             kInfinity);
  add_number(verb, "--fail-percent", options.fail.percent,
             "fail when more than this percentage of the pixels does, 0 to 100; default: 0", kMostPercent);
  add_number(verb, "--hard-fail", options.fail.hard,
             "fail when one sample differs by more than this; default: no limit", kInfinity);
  add_number(verb, "--warn", options.warn.each,
             "a sample that differs by more than this is worth a warning; default: 0.000001", kInfinity);
  add_number(verb, "--warn-percent", options.warn.percent,
             "warn when more than this percentage of the pixels is worth it, 0 to 100; default: 0",
             kMostPercent);
  add_number(verb, "--hard-warn", options.warn.hard,
             "warn when one sample differs by more than this; default: no limit", kInfinity);
  add_number(verb, "--scale", options.scale,
             "multiply the samples of the difference image by this; default: 1",
             std::numeric_limits<float>::max());
}

}  // namespace

ExitCode exit_code_of(const Failure& failure) {
  return failure.code() == kNoInput ? kIoError : failure.code();
}

bool is_told(const DiffOptions& options, Verdict verdict) {
  return verdict != kFileError && (!options.common.is_quiet || verdict >= kFailure);
}

Verb add_diff(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("diff", "compare the samples of two images or sequences");
  const auto options = std::make_shared<DiffOptions>();
  verb->footer(kFooter);
  add_common_options(*verb, options->common, "write the differences as an image; - is standard output");
  verb->add_option("A", options->a, "an image, or a pattern for a sequence; - is standard input")->required();
  verb->add_option("B", options->b, "the image or the pattern to compare it with; - is standard input")
      ->required();
  add_thresholds(*verb, *options);
  add_input_options(*verb, options->reading);
  add_sequence_options(*verb, options->sequence);
  add_output_options(*verb, options->writing);
  add_memory_option(*verb, options->memory);
  return {verb, &options->common, [options] { return run(*options); }};
}

}  // namespace orb::tool
