// What the checks of a plug-in share: the module under test, what it said, and what was found.
#pragma once

#include <string>
#include <vector>

#include "orbbase/core.h"
#include "orbbase/registry.h"

namespace orb::tool::plugin_check {

enum class Level : char { ok = 'o', warning = 'w', failure = 'F' };

struct Finding {
  Level level;
  std::string check;
  std::string text;
};

// The library with the module alone, in the process of one check.
class Kit {
 public:
  Kit(std::string check, std::string module, std::string folder);
  ~Kit();
  Kit(const Kit&) = delete;
  Kit& operator=(const Kit&) = delete;

  // Its registration; null when the library did not take it.
  [[nodiscard]] const ORB_FORMAT* format() const { return format_; }
  [[nodiscard]] bool reads() const { return (format_->access & ORB_ACCESS_READ) != 0; }
  [[nodiscard]] bool writes() const { return (format_->access & ORB_ACCESS_WRITE) != 0; }

  // A name in the checks' own folder, with the format's extension.
  [[nodiscard]] std::string file(const std::string& stem) const;

  void ok(const std::string& text) { add(Level::ok, text); }
  void warn(const std::string& text) { add(Level::warning, text); }
  void fail(const std::string& text) { add(Level::failure, text); }
  // Each text once, however often it is found.
  void add(Level level, const std::string& text);
  [[nodiscard]] bool has_failed() const;
  [[nodiscard]] const std::vector<Finding>& findings() const { return findings_; }

  // The errors reported since the last call of forget.
  [[nodiscard]] size_t errors() const { return errors_.size(); }
  [[nodiscard]] std::string last_error() const { return errors_.empty() ? "nothing" : errors_.back(); }
  void forget();

 private:
  static int32_t take_report(const void*, uint8_t category, const char* message, ERR_RECORD*, void* kit);

  std::string check_;
  std::string module_;
  std::string folder_;
  const ORB_FORMAT* format_ = nullptr;
  std::vector<Finding> findings_;
  std::vector<std::string> errors_;
};

// File descriptors that this process has open.
[[nodiscard]] size_t open_descriptors();

// The checks, each for a process of its own. samples: files of the format, from its author.
struct Check {
  const char* name;
  void (*run)(Kit& kit, const std::vector<std::string>& samples);
};

void check_texts(Kit& kit, const std::vector<std::string>& samples);
void check_claims(Kit& kit, const std::vector<std::string>& samples);
void check_settings(Kit& kit, const std::vector<std::string>& samples);
void check_is_file(Kit& kit, const std::vector<std::string>& samples);
void check_pictures(Kit& kit, const std::vector<std::string>& samples);
void check_refusals(Kit& kit, const std::vector<std::string>& samples);
void check_full_disk(Kit& kit, const std::vector<std::string>& samples);
void check_lines(Kit& kit, const std::vector<std::string>& samples);
void check_cut_files(Kit& kit, const std::vector<std::string>& samples);
void check_samples(Kit& kit, const std::vector<std::string>& samples);
void check_manners(Kit& kit, const std::vector<std::string>& samples);

}  // namespace orb::tool::plugin_check
