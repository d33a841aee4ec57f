// The verbs: each adds itself to the command line and gives back what runs it.
#pragma once

#include <functional>

#include "command_line.h"
#include "options.h"

namespace orb::tool {

// A verb on the command line. run returns the exit status, or throws Failure.
struct Verb {
  CLI::App* parser;
  const CommonOptions* options;
  std::function<int()> run;
  bool needs_library = true;  // false: it reads no images, so no plug-ins are looked for
};

Verb add_formats(CLI::App& app);
Verb add_info(CLI::App& app);
Verb add_convert(CLI::App& app);
Verb add_merge_fields(CLI::App& app);
Verb add_check(CLI::App& app);
Verb add_diff(CLI::App& app);
Verb add_view(CLI::App& app);
Verb add_play(CLI::App& app);
Verb add_ls(CLI::App& app);
Verb add_frames(CLI::App& app);
Verb add_curve(CLI::App& app);
Verb add_config(CLI::App& app);
Verb add_rsrc(CLI::App& app);
Verb add_plugin_check(CLI::App& app);
Verb add_completion(CLI::App& app);

}  // namespace orb::tool
