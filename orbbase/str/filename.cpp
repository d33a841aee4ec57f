// The parts of a file name: host prefix, directory, last component, extension.
#include <cstring>

#include "orbbase/str/internal.h"

namespace orb {

void BoundedText::append(std::string_view text) {
  if (text.empty()) return;
  // One byte stays free for the zero.
  if (overflowed_ || out_.size() - length_ <= text.size()) {
    overflowed_ = true;
    return;
  }
  std::memcpy(out_.data() + length_, text.data(), text.size());
  length_ += text.size();
}

bool BoundedText::finish() {
  if (out_.empty()) return false;
  if (overflowed_) length_ = 0;
  out_[length_] = '\0';
  return !overflowed_;
}

size_t host_length(std::string_view path) { return path.substr(0, path.find('/')).rfind(':'); }

bool filename_host(std::span<char> out, std::string_view path) {
  const size_t length = host_length(path);
  if (length == std::string_view::npos) return false;
  BoundedText host(out);
  host.append(path.substr(0, length));
  return host.finish();
}

}  // namespace orb

using namespace orb;

char* STR_extension(const char* name) {
  const char* dot = std::strrchr(name, '.');
  return dot ? const_cast<char*>(dot + 1) : nullptr;
}

char* STR_root(char* name) {
  if (char* dot = std::strrchr(name, '.')) *dot = '\0';
  return name;
}

char* STR_tail(const char* name) {
  const char* slash = std::strrchr(name, '/');
  return const_cast<char*>(slash ? slash + 1 : name);
}

char* STR_head(char* name) {
  char* slash = std::strrchr(name, '/');
  if (!slash) return nullptr;
  while (slash > name && slash[-1] == '/') --slash;
  *slash = '\0';
  return name;
}

char* STR_host(char* name) {
  const size_t length = host_length(name);
  if (length == std::string_view::npos || length == 0) return nullptr;
  name[length] = '\0';
  return name;
}

char* STR_host_remove(const char* name) {
  const size_t length = host_length(name);
  return const_cast<char*>(length == std::string_view::npos ? name : name + length + 1);
}

char* STR_filename_host(char* buffer, const char* path) {
  const std::string_view text = path;
  if (host_length(text) == std::string_view::npos) return nullptr;
  if (!buffer) return reinterpret_cast<char*>(uintptr_t{1});
  return filename_host({buffer, text.size()}, text) ? buffer : nullptr;
}
