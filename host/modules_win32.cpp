#include "modules.h"

#include <windows.h>

#include <cstdlib>

namespace orb::host {

const char kPathSeparator = ';';
const char* const kModuleExtension = ".dll";

std::filesystem::path program_folder() {
  std::wstring path(32768, L'\0');
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  if (length == 0 || length == path.size()) return {};
  path.resize(length);
  return std::filesystem::path(path).parent_path();
}

std::optional<std::string> environment(const char* name) {
  const char* value = std::getenv(name);
  if (!value) return std::nullopt;
  return value;
}

LoadResult load_module(const std::filesystem::path& file) {
  LoadResult result;
  const std::filesystem::path path = std::filesystem::absolute(file);
  result.module = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (result.module) return result;
  const DWORD code = GetLastError();
  char text[512] = "";
  FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                 nullptr, code, 0, text, sizeof text, nullptr);
  result.error = text;
  // The system does not say which library it was.
  if (code == ERROR_MOD_NOT_FOUND) result.missing_library = "(unnamed)";
  return result;
}

void unload_module(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }

}  // namespace orb::host
