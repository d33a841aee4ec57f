#include "file.h"

#include <sys/stat.h>

#include <cstring>

#include "codec.h"
#include "plugins/common/reports.h"

namespace orb::exr {
namespace {

constexpr uint8_t kSignature[] = {0x76, 0x2F, 0x31, 0x01};

bool has_signature(const uint8_t* bytes) { return std::memcmp(bytes, kSignature, sizeof kSignature) == 0; }

}  // namespace

bool open_for_reading(ORB_IMAGE& image, File& file) {
  return plugin::open_positioned_for_reading(image, kExtension, file);
}

bool open_for_writing(ORB_IMAGE& image, File& file) {
  return plugin::open_positioned_for_writing(image, kExtension, file);
}

int64_t end_of(const File& file) {
  struct stat status;
  return fstat(fileno(file.stream.file), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : -1;
}

bool check_signature(File& file) {
  uint8_t bytes[sizeof kSignature];
  const uint64_t got = read_at(file, 0, bytes, sizeof bytes);
  if (file.io_error != 0) {
    plugin::report_transfer(file.stream.path, plugin::Transfer::reading, plugin::kNoLine,
                            std::strerror(file.io_error));
    return plugin::fail(ORB_E_READ) == 0;
  }
  if (got == sizeof bytes && has_signature(bytes)) return true;
  return plugin::refuse_beginning(file.stream.path, kName, "OpenEXR signature", got, sizeof bytes);
}

bool is_exr(const char* name, std::FILE* stream) {
  return plugin::begins_right(name, stream, sizeof kSignature, has_signature);
}

}  // namespace orb::exr
