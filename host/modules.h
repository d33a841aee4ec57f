// What the host needs of an operating system: the program's own place, its environment, and modules.
// modules_posix.cpp and modules_win32.cpp fulfil it; the build picks one.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace orb::host {

// The folder of the running program, or an empty path when the system does not tell.
std::filesystem::path program_folder();

// An environment variable's value; none for a program that runs with more rights than its user.
std::optional<std::string> environment(const char* name);

// Separates the folders of a search path.
extern const char kPathSeparator;

// The ending of a module's file name, dot included.
extern const char* const kModuleExtension;

struct LoadResult {
  void* module = nullptr;
  std::string error;            // why not, in the system's words
  std::string missing_library;  // the library whose absence was the reason, when it was that
};

// Loads with all symbols bound now, and kept from every other module.
LoadResult load_module(const std::filesystem::path& file);
void unload_module(void* module);

}  // namespace orb::host
