// orb plugin-check: a test kit for authors of plug-ins. Each check runs in a process of its own, with the module and
// the library and nothing else loaded.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>

#include "isolation.h"
#include "json.h"
#include "plugin_check/kit.h"
#include "printable.h"
#include "reports.h"
#include "results.h"
#include "verbs.h"

namespace orb::tool {
namespace {

namespace fs = std::filesystem;
using plugin_check::Check;
using plugin_check::Finding;
using plugin_check::Kit;
using plugin_check::Level;

struct PluginCheckOptions {
  CommonOptions common;
  std::string module;
  std::vector<std::string> samples;
};

// Without the first there is nothing to look at.
constexpr Check kChecks[] = {{"load", nullptr},
                             {"texts", plugin_check::check_texts},
                             {"claims", plugin_check::check_claims},
                             {"settings", plugin_check::check_settings},
                             {"is-file", plugin_check::check_is_file},
                             {"pictures", plugin_check::check_pictures},
                             {"refusals", plugin_check::check_refusals},
                             {"full-disk", plugin_check::check_full_disk},
                             {"lines", plugin_check::check_lines},
                             {"cut-files", plugin_check::check_cut_files},
                             {"samples", plugin_check::check_samples},
                             {"manners", plugin_check::check_manners}};
constexpr const char* kCheckLimits = "memory=2G,time=30,file=1G";
constexpr size_t kMostFindings = 8;  // of a check that are told

constexpr struct {
  Level level;
  const char* label;
  const char* result;
} kLevels[] = {
    {Level::ok, "ok  ", "ok"}, {Level::warning, "warn", "warning"}, {Level::failure, "FAIL", "failed"}};

const auto& level_of(Level level) {
  return *std::find_if(std::begin(kLevels), std::end(kLevels),
                       [&](const auto& row) { return row.level == level; });
}

// A folder for the files of the checks, gone with this.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (fs::temp_directory_path() / "orb-plugin-check-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw Failure(kIoError, "no folder can be made in " + name);
    path_ = name;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string run_here(const Check& check, const PluginCheckOptions& options, const std::string& folder) {
  const Unshown unshown;
  Kit kit(check.name, options.module, folder);
  if (check.run != nullptr && kit.format() != nullptr) check.run(kit, options.samples);
  if (check.run == nullptr && kit.format() != nullptr) kit.ok("the format " + std::string(kit.format()->key));
  Json findings = Json::array();
  for (const Finding& finding : kit.findings()) {
    findings.push_back({{"level", static_cast<int>(finding.level)}, {"text", finding.text}});
  }
  return packed(findings);
}

std::vector<Finding> run_apart(const Check& check, const PluginCheckOptions& options,
                               const std::string& folder) {
  std::vector<Finding> findings;
  try {
    const std::string bytes = contain([&] { return run_here(check, options, folder); }, "");
    for (const Json& finding : unpacked(bytes)) {
      findings.push_back({static_cast<Level>(finding["level"].get<int>()), check.name, finding["text"]});
    }
  } catch (const Failure& failure) {
    findings.push_back({Level::failure, check.name, failure.what()});
  }
  return findings;
}

Level worst_of(const std::vector<Finding>& findings) {
  Level worst = Level::ok;
  for (const Finding& finding : findings) {
    if (finding.level == Level::failure || worst == Level::ok) worst = finding.level;
  }
  return worst;
}

std::string as_text(const Check& check, const std::vector<Finding>& findings, bool is_quiet) {
  std::string text;
  size_t told = 0;
  for (const Finding& finding : findings) {
    const bool is_told = finding.level != Level::ok || !is_quiet;
    if (!is_told || ++told > kMostFindings) continue;
    text += std::string(level_of(finding.level).label) + "  " + check.name + ": " + printable(finding.text) +
            "\n";
  }
  if (told > kMostFindings) {
    text += std::string("      ") + check.name + ": and " + std::to_string(told - kMostFindings) + " more\n";
  }
  if (findings.empty() && !is_quiet) text = std::string("ok    ") + check.name + "\n";
  return text;
}

Json as_json(const Check& check, const std::vector<Finding>& findings) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"result", level_of(finding.level).result}, {"text", finding.text}});
  }
  return {{"check", check.name}, {"result", level_of(worst_of(findings)).result}, {"findings", list}};
}

int run(const PluginCheckOptions& options) {
  if (!fs::exists(options.module)) {
    throw Failure(kNoInput, "Cannot open file " + options.module + "; No such file or directory");
  }
  Results results(options.common);
  if (isolation() == nullptr) choose_isolation(kCheckLimits);
  const ScratchFolder folder;
  Json checks = Json::array();
  bool has_failed = false;
  for (const Check& check : kChecks) {
    const std::vector<Finding> findings = run_apart(check, options, folder.path());
    has_failed = has_failed || worst_of(findings) == Level::failure;
    results.text += as_text(check, findings, options.common.is_quiet);
    checks.push_back(as_json(check, findings));
    if (check.run == nullptr && has_failed) break;
  }
  if (options.common.json) {
    results.text =
        to_text({{"module", options.module}, {"result", has_failed ? "failed" : "ok"}, {"checks", checks}});
  }
  results.deliver();
  return has_failed ? kSomeFailed : kDone;
}

}  // namespace

Verb add_plugin_check(CLI::App& app) {
  CLI::App* verb =
      app.add_subcommand("plugin-check", "try a plug-in module for what a plug-in has to keep to");
  const auto options = std::make_shared<PluginCheckOptions>();
  add_common_options(*verb, options->common, "write the results to a file");
  verb->add_option("MODULE", options->module, "the module's file")->required();
  verb->add_option("FILE", options->samples, "files of the format to read");
  return {verb, &options->common, [options] { return run(*options); }, false};
}

}  // namespace orb::tool
