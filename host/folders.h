// Where plug-in modules are looked for, in what order, and which files count.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace orb::host {

struct Folder {
  std::filesystem::path path;
  const char* origin;
  bool exists;
};

// QV_ORB_PLUGIN_PATH's folders, the one relative to the program, the installed one; each once, the first
// time.
std::vector<Folder> search_folders();

// The module files of a folder, ordered by name.
std::vector<std::filesystem::path> module_files(const std::filesystem::path& folder);

}  // namespace orb::host
