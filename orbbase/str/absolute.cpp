// The absolute form of a path.
#include "orbbase/str/internal.h"

namespace orb {
namespace {

struct Leading {
  size_t levels_up = 0;
  std::string_view rest;  // the path behind its leading "." and ".." components
};

// Takes the leading "." and ".." components off a path. A name that only begins with "." ends them.
Leading take_leading_components(std::string_view path) {
  Leading leading;
  for (;;) {
    const size_t dots = path.starts_with("..") ? 2 : path.starts_with('.') ? 1 : 0;
    const bool is_last = path.size() == dots;
    if (dots == 0 || (!is_last && path[dots] != '/')) break;
    leading.levels_up += dots - 1;
    path.remove_prefix(is_last ? dots : dots + 1);
  }
  leading.rest = path;
  return leading;
}

// Takes levels off the end of a directory. A "/" that ends it, or what is left of it, is no level. Returns
// whether there were enough.
bool cut_levels(std::string_view* directory, size_t levels) {
  while (levels > 0) {
    const size_t slash = directory->rfind('/');
    if (slash == std::string_view::npos) return false;
    if (slash + 1 < directory->size()) --levels;
    *directory = directory->substr(0, slash);
  }
  return true;
}

}  // namespace

bool filename_absolute(std::span<char> out, std::string_view current, std::string_view path) {
  BoundedText result(out);
  if (path.empty() || path.starts_with('/') || host_length(path) != std::string_view::npos) {
    result.append(path);
    return result.finish();
  }
  Leading leading = take_leading_components(path);
  if (!cut_levels(&current, leading.levels_up)) current = {};
  result.append(current);
  if (!leading.rest.empty() || current.empty()) {
    const size_t first = leading.rest.find_first_not_of('/');
    if (!current.ends_with('/')) result.append("/");
    if (first != std::string_view::npos) result.append(leading.rest.substr(first));
  }
  return result.finish();
}

}  // namespace orb

char* STR_filename_absolute(char* result, const char* current, const char* path) {
  const std::string_view from = current, to = path ? path : "";
  // The room that the caller promised.
  (void)orb::filename_absolute({result, from.size() + to.size() + 2}, from, to);
  return result;
}
