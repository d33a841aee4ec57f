#include "modules.h"

#include <dlfcn.h>
#include <link.h>
#include <stdlib.h>

#include <cstring>
#include <fstream>

namespace orb::host {
namespace {

using Header = ElfW(Ehdr);
using Segment = ElfW(Phdr);

template <class Record>
bool read_record(std::ifstream& file, uint64_t offset, Record& record) {
  return file.seekg(static_cast<std::streamoff>(offset)) &&
         file.read(reinterpret_cast<char*>(&record), sizeof record);
}

// Whether a file lacks bytes that its own header speaks of. The system's loader maps them unseen, and whoever
// touches them is killed. What is no module at all is left for the loader to say.
bool is_cut_short(const std::filesystem::path& path) {
  std::error_code error;
  const uint64_t file_bytes = std::filesystem::file_size(path, error);
  std::ifstream file(path, std::ios::binary);
  Header header = {};
  if (error || !read_record(file, 0, header)) return false;
  if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_phentsize != sizeof(Segment))
    return false;
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    Segment segment = {};
    const uint64_t at = uint64_t{i} * sizeof segment;
    if (header.e_phoff > file_bytes || at + sizeof segment > file_bytes - header.e_phoff) return true;
    if (!read_record(file, header.e_phoff + at, segment)) return false;
    if (segment.p_type != PT_LOAD) continue;
    if (segment.p_offset > file_bytes || segment.p_filesz > file_bytes - segment.p_offset) return true;
  }
  return false;
}

}  // namespace

const char kPathSeparator = ':';
const char* const kModuleExtension = ".so";

std::filesystem::path program_folder() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path() : program.parent_path();
}

std::optional<std::string> environment(const char* name) {
  const char* value = secure_getenv(name);
  if (!value) return std::nullopt;
  return value;
}

LoadResult load_module(const std::filesystem::path& file) {
  LoadResult result;
  // A name without a slash would be searched for along the system's library path.
  const std::string path = std::filesystem::absolute(file).string();
  if (is_cut_short(path)) {
    result.error = "the file is cut short";
    return result;
  }
  result.module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (result.module) return result;
  if (const char* text = dlerror()) result.error = text;
  // The loader's line begins with the file that it could not open: the module itself, or a library of its.
  const size_t end = result.error.find(": cannot open shared object file");
  if (end != std::string::npos && result.error.compare(0, end, path) != 0) {
    result.missing_library = result.error.substr(0, end);
  }
  if (result.error.starts_with(path + ": "))
    result.error.erase(0, path.size() + 2);  // who shows it says whose
  return result;
}

void unload_module(void* module) { dlclose(module); }

}  // namespace orb::host
