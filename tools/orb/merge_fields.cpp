// orb merge-fields: pairs of files that hold one field each become frames.
#include <CLI/CLI.hpp>
#include <filesystem>

#include "convert.h"
#include "exit_codes.h"
#include "frames/pattern.h"
#include "verbs.h"

namespace orb::tool {
namespace {

// Whether two files are named as the fields of one frame are: 1 and 2, 3 and 4, and so on.
bool are_fields(const std::string& a, const std::string& b) {
  const std::filesystem::path first(a);
  const std::filesystem::path second(b);
  const std::string first_name = first.filename();
  const std::string second_name = second.filename();
  const auto p = frames::split_name(first_name);
  const auto q = frames::split_name(second_name);
  if (!p || !q || p->prefix != q->prefix || p->suffix != q->suffix) return false;
  const frames::Frame partner = p->frame % 2 == 0 ? p->frame - 1 : p->frame + 1;
  return q->frame == partner && first.parent_path() == second.parent_path();
}

// A second file is named for people: the first alone says which it is.
void check_pair(const std::vector<std::string>& inputs) {
  if (inputs.size() < 2) return;
  if (inputs.size() == 2 && are_fields(inputs[0], inputs[1])) return;
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
