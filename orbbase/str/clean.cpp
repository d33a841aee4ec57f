// A path without what says nothing: doubled slashes, "." components, "name/..".
#include <cstring>

#include "orbbase/str/internal.h"

namespace orb {
namespace {

// Rewrites a path component by component in its own place; what is written is never longer than what was
// read.
class Cleaner {
 public:
  explicit Cleaner(char* path) : start_(path), is_absolute_(*path == '/') {
    end_ = start_ + (is_absolute_ ? 1 : 0);
    fixed_end_ = end_;
  }

  void add(std::string_view component) {
    if (component == ".") return;
    if (component != "..") return append(component);
    if (end_ > fixed_end_) return remove_last();
    if (is_absolute_) return;  // there is nothing above the root
    append(component);
    fixed_end_ = end_;
  }

  void finish() {
    if (end_ == start_) *end_++ = '.';
    *end_ = '\0';
  }

 private:
  void append(std::string_view component) {
    if (end_ > start_ && end_[-1] != '/') *end_++ = '/';
    std::memmove(end_, component.data(), component.size());
    end_ += component.size();
  }

  // Removes the last component with the "/" before it, down to what ".." cannot remove.
  void remove_last() {
    do --end_;
    while (end_ > fixed_end_ && *end_ != '/');
  }

  char* start_;
  bool is_absolute_;
  char* end_;
  char* fixed_end_;  // the root, or the end of the leading ".." components
};

}  // namespace
}  // namespace orb

char* STR_filename_clean(char* path) {
  char* rest = path;
  if (char* colon = std::strchr(path, ':')) {
    rest = colon + 1;
    if (!*rest) return path;
  }
  orb::Cleaner cleaner(rest);
  for (const char* at = rest; *at;) {
    const size_t length = std::strcspn(at, "/");
    // The component is taken before the cleaner writes: its text ends at or behind the place written to.
    const char* next = at + length + std::strspn(at + length, "/");
    if (length > 0) cleaner.add({at, length});
    at = next;
  }
  cleaner.finish();
  return path;
}
