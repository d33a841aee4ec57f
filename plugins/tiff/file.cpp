#include "file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "codec.h"
#include "plugins/common/memory.h"

namespace orb::tiff {
namespace {

constexpr size_t kSignatureBytes = 4;
constexpr uint64_t kMostAtOnce = 1U << 30;  // bytes of one call of the system

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
  plugin::fail(ORB_E_OPEN);
  return false;
}

bool has_signature(const uint8_t* bytes) {
  constexpr uint8_t kSignatures[][kSignatureBytes] = {
      {'I', 'I', 42, 0}, {'M', 'M', 0, 42}, {'I', 'I', 43, 0}, {'M', 'M', 0, 43}};
  return std::any_of(std::begin(kSignatures), std::end(kSignatures), [bytes](const auto& signature) {
    return std::memcmp(bytes, signature, kSignatureBytes) == 0;
  });
}

// A stream that is written to cannot be read, and a page is linked to the one before by reading that.
int descriptor_to_read(File& file, bool is_written) {
  if (!is_written) return fileno(file.stream.file);
  if (file.read_back <= 0) file.read_back = open(file.stream.path, O_RDONLY | O_CLOEXEC);
  return file.read_back;
}

}  // namespace

bool open_for_reading(ORB_IMAGE& image, File& file) {
  return plugin::open_for_reading(image, kExtension, file.stream) && accept(file, false);
}

bool open_for_writing(ORB_IMAGE& image, File& file) {
  return plugin::open_for_writing(image, kExtension, file.stream) && accept(file, true);
}

uint64_t read_some(File& file, uint64_t offset, void* out, uint64_t size_bytes) {
  const int descriptor = descriptor_to_read(file, file.size_bytes > 0);
  uint64_t done = 0;
  bool is_at_end = offset > INT64_MAX || size_bytes > INT64_MAX - offset;
  while (!is_at_end && done < size_bytes) {
    const ssize_t got = pread(descriptor, static_cast<uint8_t*>(out) + done,
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

bool read_at(File& file, uint64_t offset, void* out, uint64_t size_bytes) {
  return read_some(file, offset, out, size_bytes) == size_bytes;
}

bool write_at(File& file, uint64_t offset, const void* bytes, uint64_t size_bytes) {
  const auto* at = static_cast<const uint8_t*>(bytes);
  while (size_bytes > 0) {
    const ssize_t put =
        pwrite(fileno(file.stream.file), at, std::min(size_bytes, kMostAtOnce), static_cast<off_t>(offset));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) {
      if (file.io_error == 0) file.io_error = put < 0 ? errno : EIO;
      return false;
    }
    at += put;
    offset += static_cast<uint64_t>(put);
    size_bytes -= static_cast<uint64_t>(put);
  }
  file.size_bytes = std::max(file.size_bytes, offset);
  return true;
}

uint64_t end_of(const File& file) {
  if (file.size_bytes > 0) return file.size_bytes;
  const off_t end = lseek(fileno(file.stream.file), 0, SEEK_END);
  return end < 0 ? 0 : static_cast<uint64_t>(end);
}

int close_file(File& file) {
  if (file.read_back > 0) close(file.read_back);
  file.read_back = 0;
  return file.stream.file ? plugin::finish_writing(file.stream) : 0;
}

bool check_signature(File& file) {
  uint8_t bytes[kSignatureBytes] = {};
  const uint64_t got = read_some(file, 0, bytes, sizeof bytes);
  if (got == sizeof bytes && has_signature(bytes)) return true;
  if (file.io_error != 0) {
    plugin::report_transfer(file.stream.path, plugin::Transfer::reading, kNoLine,
                            std::strerror(file.io_error));
    return plugin::fail(ORB_E_READ) == 0;
  }
  return plugin::refuse_beginning(file.stream.path, "TIFF", "TIFF header", got, sizeof bytes);
}

bool is_tiff(const char* name, std::FILE* stream) {
  return plugin::begins_right(name, stream, kSignatureBytes, has_signature);
}

}  // namespace orb::tiff
