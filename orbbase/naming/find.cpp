// What both builders look up: a format, a file, the last part of a path.
#include <cstdio>

#include "orbbase/core/internal.h"
#include "orbbase/naming/internal.h"

namespace orb::naming {

std::string_view base_of(std::string_view path) {
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

bool is_readable_file(const char* path) {
  platform::FileStatus status;
  // Regular files only: opening a pipe would wait for its other end.
  if (platform::file_status(path, &status) != 0 || !status.is_regular) return false;
  std::FILE* file = std::fopen(path, "rb");
  if (file) (void)std::fclose(file);
  return file != nullptr;
}

ORB_FORMAT* find_format(const char* key) {
  if (!start_on_demand("ORB_find")) return nullptr;
  ORB_FORMAT* format = ORB_find(key);
  if (!format) set_error(ORB_E_NO_FORMAT);
  return format;
}

}  // namespace orb::naming
