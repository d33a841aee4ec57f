// Building file names of a directory, a name and an extension.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "orbbase/core/internal.h"

namespace orb {
namespace {

struct State {
  char* buffer = nullptr;  // the name built last; grows, never goes, since callers hold it
  uint64_t capacity_bytes = 0;
} state;

constexpr uint64_t kFirstCapacityBytes = 4096;

struct Parts {
  std::string_view directory;
  std::string_view separator;
  std::string_view name;
  std::string_view extension;
};

// Puts a "/" behind every directory but one that ends in it and the empty one.
std::string_view separator_behind(std::string_view directory) {
  return directory.empty() || directory.ends_with('/') ? "" : "/";
}

Parts split(const char* directory, const char* name, const char* extension) {
  Parts parts;
  parts.name = name ? name : "";
  parts.extension = extension ? extension : "";
  if (directory && !parts.name.starts_with('/') && !parts.name.starts_with("./")) {
    parts.directory = directory;
    parts.separator = separator_behind(parts.directory);
  }
  return parts;
}

char* append(char* end, std::string_view piece) {
  if (!piece.empty()) std::memcpy(end, piece.data(), piece.size());
  return end + piece.size();
}

// The extension as it goes behind a name: nothing when the name ends with it already, and without its first
// character when the name ends in a dot.
std::string_view extension_behind(std::string_view name, std::string_view extension) {
  if (name.ends_with(extension)) return {};
  return name.ends_with('.') ? extension.substr(1) : extension;
}

// text has room for all parts and the terminating zero.
void build(const Parts& parts, char* text) {
  char* end = append(text, parts.directory);
  end = append(end, parts.separator);
  end = append(end, parts.name);
  end = append(end, extension_behind({text, static_cast<size_t>(end - text)}, parts.extension));
  *end = '\0';
}

bool lies_in_buffer(std::string_view piece) {
  const auto address = reinterpret_cast<uintptr_t>(piece.data());
  const auto start = reinterpret_cast<uintptr_t>(state.buffer);
  return address >= start && address - start < state.capacity_bytes;
}

bool can_build_in_place(const Parts& parts, uint64_t need_bytes) {
  // A caller may pass the name built last as an argument.
  return need_bytes <= state.capacity_bytes && !lies_in_buffer(parts.directory) &&
         !lies_in_buffer(parts.name) && !lies_in_buffer(parts.extension);
}

}  // namespace
}  // namespace orb

char* orb__build_handle(const char* directory, const char* name, const char* extension) {
  using namespace orb;
  const Parts parts = split(directory, name, extension);
  const uint64_t need_bytes = uint64_t{parts.directory.size()} + parts.separator.size() + parts.name.size() +
                              parts.extension.size() + 1;
  if (can_build_in_place(parts, need_bytes)) {
    build(parts, state.buffer);
    return state.buffer;
  }
  const uint64_t capacity_bytes = std::max({need_bytes, state.capacity_bytes, kFirstCapacityBytes});
  auto* text = static_cast<char*>(allocate(capacity_bytes));
  if (!text) {
    out_of_memory();
    return nullptr;
  }
  build(parts, text);
  ERR_free(state.buffer);
  state = {text, capacity_bytes};
  return text;
}
