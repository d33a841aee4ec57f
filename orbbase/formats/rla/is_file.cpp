// Telling RLA files from others.
#include <cstdio>

#include "orbbase/formats/rla.h"
#include "orbbase/formats/rla/header.h"
#include "orbbase/platform/platform.h"

namespace orb::rla {
namespace {

bool has_header(std::FILE* stream) {
  uint8_t bytes[kHeaderBytes];
  if (std::fread(bytes, 1, sizeof bytes, stream) != sizeof bytes) return false;
  Header header;
  parse_header(bytes, header);
  return is_sound(header);
}

bool is_rla(const char* path, std::FILE* stream) {
  if (stream) {
    std::rewind(stream);
    return has_header(stream);
  }
  // Asked before it is opened: opening a FIFO would wait for its writer.
  platform::FileStatus status;
  if (!path || platform::file_status(path, &status) != 0 || !status.is_regular) return false;
  std::FILE* const own = std::fopen(path, "rb");
  if (!own) return false;
  const bool is_ours = has_header(own);
  std::fclose(own);
  return is_ours;
}

}  // namespace
}  // namespace orb::rla

uint8_t ORB_rla_is_file(const char* path, FILE* stream) { return orb::rla::is_rla(path, stream) ? 1 : 0; }
