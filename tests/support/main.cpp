// Runs a program's tests inside a folder of its own, so that two test processes never share a file by name. With
// ORB_TEST_UNDER_LOCALE set they run under the locale of the environment, as applications do.
#include <gmock/gmock.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace {

namespace fs = std::filesystem;

// A new folder below the current one. create_directory tells who made it, so that two processes never agree on
// one; an error is that of a folder which another process has just removed.
fs::path make_scratch_folder() {
  const fs::path start = fs::current_path();
  std::error_code problem;
  for (int attempt = 0; attempt < 10000; ++attempt) {
    fs::path folder = start / ("scratch." + std::to_string(attempt));
    if (fs::create_directory(folder, problem)) return folder;
  }
  throw fs::filesystem_error("no scratch folder can be made", start, problem);
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  if (std::getenv("ORB_TEST_UNDER_LOCALE")) std::setlocale(LC_ALL, "");
  const fs::path start = fs::current_path();
  const fs::path scratch = make_scratch_folder();
  fs::current_path(scratch);
  const int result = RUN_ALL_TESTS();
  fs::current_path(start);
  std::error_code ignored;  // what cannot be removed lies in the build tree and harms nobody
  fs::remove_all(scratch, ignored);
  return result;
}
