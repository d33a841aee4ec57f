// A plug-in path from a stranger's environment: every folder once, and modules only of those that are there.
#include <algorithm>
#include <string>

#include "host/folders.h"
#include "input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using orb::fuzz::require;
  std::string listed(reinterpret_cast<const char*>(data), size);
  std::replace(listed.begin(), listed.end(), '\0', ':');
  setenv("QV_ORB_PLUGIN_PATH", listed.c_str(), 1);
  const std::vector<orb::host::Folder> folders = orb::host::search_folders();
  require(!folders.empty(), "the installed folder is missing");
  for (size_t i = 0; i < folders.size(); ++i) {
    for (size_t k = 0; k < i; ++k) require(folders[k].path != folders[i].path, "a folder stands twice");
    for (const auto& file : orb::host::module_files(folders[i].path)) {
      require(folders[i].exists, "a folder that is not there holds modules");
      require(!file.stem().empty(), "a module has no name");
    }
  }
  return 0;
}
