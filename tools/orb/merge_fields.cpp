// orb merge-fields: pairs of files that hold one field each become frames.
#include <CLI/CLI.hpp>

#include "convert.h"
#include "exit_codes.h"
#include "steps.h"
#include "verbs.h"

namespace orb::tool {
namespace {

// A second file is named for people: the first alone says which it is.
void check_pair(const std::vector<std::string>& inputs) {
  if (inputs.size() < 2) return;
  const std::optional<std::string> other = other_field(inputs[0]);
  if (!other) throw Failure(kUsage, inputs[0] + kFieldNames);
  if (inputs.size() == 2 && inputs[1] == *other) return;
  throw Failure(kUsage,
                inputs[0] + " and " + inputs[1] +
                    " are no pair of fields: these differ in their numbers alone, 1 and 2, 3 and 4, ...");
}

int run(ConvertOptions options) {
  check_pair(options.inputs);
  options.inputs.resize(1);
  options.one.steps.merges_fields = true;
  return convert(options);
}

}  // namespace

Verb add_merge_fields(CLI::App& app) {
  CLI::App* verb = app.add_subcommand(
      "merge-fields", "merge the two fields of an interlaced frame, or the fields of a sequence in pairs");
  const auto options = std::make_shared<ConvertOptions>();
  add_convert_options(*verb, *options);
  verb->remove_option(verb->get_option("--merge-fields"));
  verb->get_option("IN")->description("a field, or both, numbered 1 and 2, 3 and 4, and so on; or a pattern");
  verb->get_option("--output")
      ->description("the frame to write, or a pattern for a sequence; - is standard output");
  return {verb, &options->one.common, [options] { return run(*options); }};
}

}  // namespace orb::tool
