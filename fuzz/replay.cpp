// Runs a fuzz target once on every file of a folder: what the fuzzer found stays found, in every build.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
    return 2;
  }
  std::vector<std::filesystem::path> inputs;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) inputs.push_back(entry.path());
  std::sort(inputs.begin(), inputs.end());
  for (const auto& input : inputs) {
    std::ifstream file(input, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) {
      std::fprintf(stderr, "cannot read %s\n", input.c_str());
      return 1;
    }
    std::printf("%s\n", input.filename().c_str());
    std::fflush(stdout);  // names the input that ends the process
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  if (inputs.empty()) std::fprintf(stderr, "%s: no inputs\n", argv[1]);
  return inputs.empty() ? 1 : 0;
}
