// A configuration file of a test's own, and the databases that read it as in a fresh process.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

#include "orbbase/colour/internal.h"
#include "orbbase/support/config/fb.h"
#include "orbbase/support/config/internal.h"
#include "orbbase/support/config/line_store.h"
#include "orbbase/support/err/internal.h"
#include "orbbase/support/fmt.h"
#include "tests/support/environment.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {

// HOME is an empty scratch folder, QV_ROOT is not set, nothing has started, and reports are recorded.
class ConfigurationTest : public ::testing::Test {
 protected:
  ConfigurationTest() {
    const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
    folder_ = std::filesystem::temp_directory_path() /
              (std::string("orb-") + test->name() + "-" + std::to_string(std::random_device()()));
    std::filesystem::create_directories(folder_);
    environment.set("HOME", folder_.string());
    environment.unset("QV_ROOT");
    reset_databases();
  }
  ~ConfigurationTest() override {
    reset_databases();
    std::filesystem::remove_all(folder_);
  }

  static void reset_databases() {
    fmt::reset_for_test();
    fb::reset_for_test();
    clr::reset_for_test();
    config::reset_for_test();
    set_error(0);
  }

  // Replaces the file and forgets what was read.
  void configure(std::string_view text) {
    write(folder_ / ".orbrc", text);
    reset_databases();
    recorder.clear();
  }

  static void write(const std::filesystem::path& path, std::string_view text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
  }

  // The path of the file in HOME, as the library writes it.
  [[nodiscard]] std::string path() const { return folder_.string() + "/.orbrc"; }
  [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
  [[nodiscard]] std::string syntax_error(int line) const {
    return path() + ": Invalid configuration file syntax, line " + std::to_string(line);
  }

  Environment environment;
  ReportRecorder recorder;

 private:
  std::filesystem::path folder_;
};

// For the length of a block DEBUG reports are seen.
class WithDebugReports {
 public:
  WithDebugReports() { ERR_unmask_s(ERR_DEBUG); }
  ~WithDebugReports() { ERR_mask_s(ERR_DEBUG); }
  WithDebugReports(const WithDebugReports&) = delete;
  WithDebugReports& operator=(const WithDebugReports&) = delete;
};

}  // namespace orb::testing
