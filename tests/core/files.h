// Files of a test, in its own folder, whole.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace orb::testing {

using Bytes = std::vector<unsigned char>;

inline void put_file(const std::string& name, const Bytes& bytes) {
  std::ofstream file(name, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  ASSERT_TRUE(file.flush());
}

inline Bytes get_file(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline bool exists(const std::string& name) { return std::ifstream(name).is_open(); }

}  // namespace orb::testing
