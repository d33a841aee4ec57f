#include "file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "codec.h"
#include "plugins/common/reports.h"

namespace orb::exr {
namespace {

constexpr uint8_t kSignature[] = {0x76, 0x2F, 0x31, 0x01};
constexpr uint64_t kMostAtOnce = 1U << 30;  // bytes of one call of the system

bool has_signature(const uint8_t* bytes) { return std::memcmp(bytes, kSignature, sizeof kSignature) == 0; }

// 0, or why the open file cannot serve, as the system's error number.
int reason_against(const File& file, bool is_writer) {
  const int descriptor = fileno(file.stream.file);
  if (lseek(descriptor, 0, SEEK_CUR) < 0) return errno;
  // Where every write goes to the end, none can be put right later.
  return is_writer && (fcntl(descriptor, F_GETFL) & O_APPEND) != 0 ? ESPIPE : 0;
}

bool accept(File& file, bool is_writer) {
  const int reason = reason_against(file, is_writer);
  if (reason == 0) return true;
  orb__report(ORB_MSG_CANNOT_OPEN, file.stream.path, std::strerror(reason));
  return plugin::fail(ORB_E_OPEN) == 0;
}

bool is_offset(uint64_t offset, uint64_t size_bytes) {
  return offset <= INT64_MAX && size_bytes <= INT64_MAX - offset;
}

}  // namespace

bool open_for_reading(ORB_IMAGE& image, File& file) {
  return plugin::open_for_reading(image, kExtension, file.stream) && accept(file, false);
}

bool open_for_writing(ORB_IMAGE& image, File& file) {
  return plugin::open_for_writing(image, kExtension, file.stream) && accept(file, true);
}

uint64_t read_at(File& file, uint64_t offset, void* out, uint64_t size_bytes) {
  uint64_t done = 0;
  bool is_at_end = !is_offset(offset, size_bytes);
  while (!is_at_end && done < size_bytes) {
    const ssize_t got = pread(fileno(file.stream.file), static_cast<uint8_t*>(out) + done,
                              std::min(size_bytes - done, kMostAtOnce), static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      file.io_error = errno;
      break;
    }
    is_at_end = got == 0;
    done += static_cast<uint64_t>(got);
  }
  file.is_cut = file.is_cut || is_at_end;
  return done;
}

bool write_at(File& file, uint64_t offset, const void* bytes, uint64_t size_bytes) {
  if (!is_offset(offset, size_bytes)) {
    file.io_error = EFBIG;
    return false;
  }
  uint64_t done = 0;
  while (done < size_bytes) {
    const ssize_t put = pwrite(fileno(file.stream.file), static_cast<const uint8_t*>(bytes) + done,
                               std::min(size_bytes - done, kMostAtOnce), static_cast<off_t>(offset + done));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) {
      file.io_error = put < 0 ? errno : EIO;
      return false;
    }
    done += static_cast<uint64_t>(put);
  }
  return true;
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
