// orb view: pictures in the terminal.
#include "input.h"

#include <CLI/CLI.hpp>
#include "printable.h"
#include "reports.h"
#include "results.h"
#include "shrink.h"
#include "terminal.h"
#include "verbs.h"

namespace orb::tool {
namespace {

constexpr int32_t kTextRows = 2;  // the name, and the line where the shell goes on

struct ViewOptions {
  CommonOptions common;
  std::vector<std::string> files;
  InputOptions reading;
  SequenceOptions sequence;
  std::string size;
};

std::string view_of(const std::string& file, const ViewOptions& options, const Screen& screen) {
  Image reader = open_input(file, options.reading);
  const Picture picture = shrunk(reader, file, screen.most_width(), screen.most_height(kTextRows));
  const ORB_WINDOW window = reader.first().window;
  if (!reader.close()) fail_as_reported(file + ": cannot be read to its end");
  std::string text;
  for (const std::string& line : lines_of(picture, screen.cells)) text += line + "\n";
  if (options.common.is_quiet) return text;
  return text + printable(file) + ": " + size_text(window) + "\n";
}

int run(const ViewOptions& options) {
  if (options.common.json) throw Failure(kUsage, "--json: view shows pictures; orb info has --json");
  const Screen screen = screen_for(options.common, options.size);
  Results told(options.common);
  FileResults found;
  const auto look = [&](const std::string& file, FileResults& results) {
    const std::string text = view_of(file, options, screen);
    if (options.common.output.empty()) {
      show(text);
    } else {
      results.text += text;
    }
  };
  const int status =
      for_each_file(options.files, options.sequence, {look, [](auto&, auto&, auto&) {}, {}}, found);
  told.text = found.text;
  if (!options.common.output.empty()) told.deliver();
  return status;
}

}  // namespace

Verb add_view(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("view", "show pictures in the terminal");
  const auto options = std::make_shared<ViewOptions>();
  add_common_options(*verb, options->common, "write the pictures to a file, as text");
  verb->get_option("--json")->description("refused: view shows pictures; orb info has --json");
  verb->add_option("FILE", options->files, "images and sequences to show; - is standard input")->required();
  add_size_option(*verb, options->size);
  add_input_options(*verb, options->reading);
  add_sequence_options(*verb, options->sequence);
  return {verb, &options->common, [options] { return run(*options); }};
}

}  // namespace orb::tool
