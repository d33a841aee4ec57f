// A file of one test: a path that no other test and no other run uses, gone when the test ends.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace orb::testing {

using Bytes = std::vector<unsigned char>;

class ScratchFile {
 public:
  explicit ScratchFile(const std::string& ending) {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    static const auto run = std::chrono::steady_clock::now().time_since_epoch().count();
    path_ = ::testing::TempDir() + "orb." + std::to_string(run) + "." + test->name() + ending;
    std::remove(path_.c_str());
  }
  ~ScratchFile() { std::remove(path_.c_str()); }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] const char* c_str() const { return path_.c_str(); }

  [[nodiscard]] bool exists() const {
    std::FILE* file = std::fopen(c_str(), "rb");
    if (file) std::fclose(file);
    return file != nullptr;
  }
  [[nodiscard]] Bytes read() const {
    Bytes bytes;
    if (std::FILE* file = std::fopen(c_str(), "rb")) {
      for (int c; (c = std::fgetc(file)) != EOF;) bytes.push_back(static_cast<unsigned char>(c));
      std::fclose(file);
    }
    return bytes;
  }
  void write(const Bytes& bytes) const {
    std::FILE* file = std::fopen(c_str(), "wb");
    ASSERT_NE(file, nullptr);
    if (!bytes.empty()) {
      ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    }
    ASSERT_EQ(std::fclose(file), 0);
  }

 private:
  std::string path_;
};

}  // namespace orb::testing
