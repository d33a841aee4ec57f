// Runs a program's tests inside a folder of its own, so that two test processes never share a file by name.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace {

namespace fs = std::filesystem;

// A new folder below the current one. create_directory tells who made it, so that two processes never agree on one.
fs::path make_scratch_folder() {
  const fs::path start = fs::current_path();
  for (int attempt = 0;; ++attempt) {
    const fs::path folder = start / ("scratch." + std::to_string(attempt));
    if (fs::create_directory(folder)) return folder;
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  const fs::path start = fs::current_path();
  const fs::path scratch = make_scratch_folder();
  fs::current_path(scratch);
  const int result = RUN_ALL_TESTS();
  fs::current_path(start);
  std::error_code ignored;  // what cannot be removed lies in the build tree and harms nobody
  fs::remove_all(scratch, ignored);
  return result;
}
