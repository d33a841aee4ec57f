// What the fuzz targets share: the input as a file without a disk, reports shown to nobody, and how to give up.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "orbbase/support/err.h"

namespace orb::fuzz {

// A claim that the library must keep whatever it is given.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// Reports are made in full, and shown to nobody.
inline int32_t swallow(const void*, uint8_t, const char*, ERR_RECORD*, void*) { return 0; }

class InputFile {
 public:
  InputFile() : descriptor_(memfd_create("input", 0)), path_("/proc/self/fd/" + std::to_string(descriptor_)) {
    require(descriptor_ >= 0, "no memory file");
  }
  void hold(const uint8_t* data, size_t size) const {
    require(
        ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, data, size, 0) == static_cast<ssize_t>(size),
        "the memory file cannot be written");
  }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  int descriptor_;
  std::string path_;
};

}  // namespace orb::fuzz
