#include "modules.h"

#include <dlfcn.h>
#include <stdlib.h>

namespace orb::host {

const char kPathSeparator = ':';
const char* const kModuleExtension = ".so";

std::filesystem::path program_folder() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path() : program.parent_path();
}

std::optional<std::string> environment(const char* name) {
  const char* value = secure_getenv(name);
  if (!value) return std::nullopt;
  return value;
}

LoadResult load_module(const std::filesystem::path& file) {
  LoadResult result;
  // A name without a slash would be searched for along the system's library path.
  const std::string path = std::filesystem::absolute(file).string();
  result.module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (result.module) return result;
  if (const char* text = dlerror()) result.error = text;
  // The loader's line begins with the file that it could not open: the module itself, or a library of its.
  const size_t end = result.error.find(": cannot open shared object file");
  if (end != std::string::npos && result.error.compare(0, end, path) != 0) {
    result.missing_library = result.error.substr(0, end);
  }
  if (result.error.starts_with(path + ": "))
    result.error.erase(0, path.size() + 2);  // who shows it says whose
  return result;
}

void unload_module(void* module) { dlclose(module); }

void* module_variable(void* module, const char* name) { return dlsym(module, name); }

}  // namespace orb::host
