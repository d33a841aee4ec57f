#include "folders.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <system_error>

#include "modules.h"
#include "orbbase/support/err.h"

namespace orb::host {
namespace {

namespace fs = std::filesystem;

// A folder that is not there is nothing to speak of. One for which there is no memory must not pass for an empty one.
void warn_unless_missing(const fs::path& folder, const std::error_code& error) {
  if (error == std::errc::not_enough_memory) throw std::bad_alloc();
  if (!error || error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory) return;
  ERR_printf(ERR_WARNING, "Cannot look for plug-ins in %s; %s", folder.string().c_str(),
             error.message().c_str());
}

void add_folder(std::vector<Folder>& folders, const fs::path& path, const char* origin) {
  std::error_code error;
  const bool exists = fs::is_directory(path, error);
  warn_unless_missing(path, error);
  const bool is_known = std::any_of(folders.begin(), folders.end(), [&](const Folder& known) {
    std::error_code ignored;
    return known.path == path || (exists && known.exists && fs::equivalent(known.path, path, ignored));
  });
  if (!is_known) folders.push_back({path, origin, exists});
}

}  // namespace

std::vector<Folder> search_folders() {
  std::vector<Folder> folders;
  const std::string listed = environment("QV_ORB_PLUGIN_PATH").value_or("");
  for (std::string_view rest = listed; !rest.empty();) {
    const size_t length = std::min(rest.find(kPathSeparator), rest.size());
    if (length > 0) add_folder(folders, fs::path(rest.substr(0, length)), "QV_ORB_PLUGIN_PATH");
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  if (const fs::path program = program_folder(); !program.empty()) {
    add_folder(folders, (program / ORB_PLUGINS_FROM_PROGRAM).lexically_normal(), "relative to the program");
  }
  add_folder(folders, ORB_PLUGINS_INSTALLED, "installed");
  return folders;
}

std::vector<fs::path> module_files(const fs::path& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (entry->path().extension() == kModuleExtension) files.push_back(entry->path());
  }
  warn_unless_missing(folder, error);
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace orb::host
