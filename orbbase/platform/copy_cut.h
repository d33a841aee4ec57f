// How the systems' names reach a caller's buffer. For the platform's own files.
#pragma once

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

namespace orb::platform {

// Copies the text, cut to fit and zero-terminated. False when there was none, or no room even for the zero.
inline bool copy_cut(std::string_view text, std::span<char> out) {
  if (out.empty()) return false;
  const size_t bytes = std::min(text.size(), out.size() - 1);
  std::memcpy(out.data(), text.data(), bytes);
  out[bytes] = '\0';
  return !text.empty();
}

}  // namespace orb::platform
