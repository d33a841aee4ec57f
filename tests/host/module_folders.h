// Modules in folders of a test's own, the host started with them, and what is reported of it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "orbbase/core.h"
#include "orbbase/host.h"

namespace fs = std::filesystem;

class ModuleFolders : public ::testing::Test {
 protected:
  ModuleFolders() {
    fs::create_directories(root_);
    listen();
  }
  ~ModuleFolders() override {
    HOST_stop();
    ERR_can_handler(nullptr);
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

  void listen() { ERR_dcl_handler(nullptr, remember, &reports_); }
  // Puts a module into a folder under a name.
  void place_file(const std::string& folder, const std::string& name, const fs::path& from) {
    fs::create_directories(root_ / folder);
    fs::copy_file(from, root_ / folder / (name + ORB_MODULE_EXTENSION));
  }
  static int32_t start_with(const std::string& path) {
    static std::string variable;  // putenv keeps it
    variable = "QV_ORB_PLUGIN_PATH=" + path;
    putenv(variable.data());
    return HOST_start(nullptr);
  }

  fs::path root_ = fs::temp_directory_path() / ("orb-host-test-" + std::to_string(std::random_device()()));
  std::vector<std::string> reports_;  // of WARNING and above

 private:
  static int32_t remember(const void*, uint8_t category, const char* message, ERR_RECORD*, void* reports) {
    if (category >= ERR_WARNING) static_cast<std::vector<std::string>*>(reports)->push_back(message);
    return 0;
  }
};
