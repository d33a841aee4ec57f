#include "plugins/common/positioned.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "orbbase/driver.h"
#include "plugins/common/memory.h"

namespace orb::plugin {
namespace {

constexpr uint64_t kMostAtOnce = 1U << 30;  // bytes of one call of the system

// 0, or why the open file cannot serve, as the system's error number.
int reason_against(const PositionedFile& file, bool is_writer) {
  const int descriptor = fileno(file.stream.file);
  if (lseek(descriptor, 0, SEEK_CUR) < 0) return errno;
  // Where every write goes to the end, none can be put right later.
  return is_writer && (fcntl(descriptor, F_GETFL) & O_APPEND) != 0 ? ESPIPE : 0;
}

bool accept(const PositionedFile& file, bool is_writer) {
  const int reason = reason_against(file, is_writer);
  if (reason == 0) return true;
  orb__report(ORB_MSG_CANNOT_OPEN, file.stream.path, std::strerror(reason));
  return fail(ORB_E_OPEN) == 0;
}

bool is_offset(uint64_t offset, uint64_t size_bytes) {
  return offset <= INT64_MAX && size_bytes <= INT64_MAX - offset;
}

void note_error(PositionedFile& file, int number) {
  if (file.io_error == 0) file.io_error = number;
}

}  // namespace

bool open_positioned_for_reading(ORB_IMAGE& image, const char* extension, PositionedFile& file) {
  return open_for_reading(image, extension, file.stream) && accept(file, false);
}

bool open_positioned_for_writing(ORB_IMAGE& image, const char* extension, PositionedFile& file) {
  return open_for_writing(image, extension, file.stream) && accept(file, true);
}

uint64_t read_at(PositionedFile& file, uint64_t offset, void* out, uint64_t size_bytes) {
  return read_at(file, fileno(file.stream.file), offset, out, size_bytes);
}

uint64_t read_at(PositionedFile& file, int descriptor, uint64_t offset, void* out, uint64_t size_bytes) {
  uint64_t done = 0;
  bool is_at_end = !is_offset(offset, size_bytes);
  while (!is_at_end && done < size_bytes) {
    const ssize_t got = pread(descriptor, static_cast<uint8_t*>(out) + done,
                              std::min(size_bytes - done, kMostAtOnce), static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      note_error(file, errno);
      break;
    }
    is_at_end = got == 0;
    done += static_cast<uint64_t>(got);
  }
  file.is_cut = file.is_cut || is_at_end;
  return done;
}

bool write_at(PositionedFile& file, uint64_t offset, const void* bytes, uint64_t size_bytes) {
  if (!is_offset(offset, size_bytes)) {
    note_error(file, EFBIG);
    return false;
  }
  uint64_t done = 0;
  while (done < size_bytes) {
    const ssize_t put = pwrite(fileno(file.stream.file), static_cast<const uint8_t*>(bytes) + done,
                               std::min(size_bytes - done, kMostAtOnce), static_cast<off_t>(offset + done));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) {
      note_error(file, put < 0 ? errno : EIO);
      return false;
    }
    done += static_cast<uint64_t>(put);
  }
  return true;
}

}  // namespace orb::plugin
