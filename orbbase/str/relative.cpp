// The relative form of a path, where it is short.
#include <algorithm>

#include "orbbase/str/internal.h"

namespace orb {
namespace {

constexpr size_t kMostLevelsUp = 2;
constexpr size_t kFewestLevels = 3;
constexpr std::string_view kLevelUp = "../";

// The components of a directory's name.
size_t count_levels(std::string_view directory) {
  size_t levels = 0;
  bool at_start = true;
  for (const char c : directory) {
    if (c != '/' && at_start) ++levels;
    at_start = c == '/';
  }
  return levels;
}

bool ends_component(std::string_view text, size_t at) { return at == text.size() || text[at] == '/'; }

// The length of the directory that leads both names: their common part, backed up to where a component ends.
size_t common_directory(std::string_view base, std::string_view path) {
  const auto [base_at, path_at] = std::mismatch(base.begin(), base.end(), path.begin(), path.end());
  auto length = static_cast<size_t>(base_at - base.begin());
  if (ends_component(base, length) && ends_component(path, length)) return length;
  while (length > 0 && base[length - 1] != '/') --length;
  return length;
}

std::string_view without_leading_slashes(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of('/'), text.size()));
}

}  // namespace

bool filename_relative(std::span<char> out, std::string_view base, std::string_view path) {
  BoundedText result(out);
  const size_t common = common_directory(base, path);
  const size_t levels_up = count_levels(base.substr(common));
  const bool is_far = levels_up > kMostLevelsUp || (levels_up > 0 && count_levels(base) < kFewestLevels);
  if (path.empty() || is_far || host_length(path) != std::string_view::npos) {
    result.append(path);
  } else {
    for (size_t i = 0; i < levels_up; ++i) result.append(kLevelUp);
    result.append(without_leading_slashes(path.substr(common)));
  }
  return result.finish();
}

}  // namespace orb

char* STR_filename_relative(char* result, const char* base, const char* path) {
  const std::string_view to = path ? path : "";
  // The room that the caller promised.
  (void)orb::filename_relative({result, to.size() + size_t{2} * 3 + 1}, base, to);
  return result;
}
