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
  return plugin::open_positioned_for_reading(image, kExtension, file);
}

bool open_for_writing(ORB_IMAGE& image, File& file) {
  return plugin::open_positioned_for_writing(image, kExtension, file);
}

uint64_t read_some(File& file, uint64_t offset, void* out, uint64_t size_bytes) {
  return plugin::read_at(file, descriptor_to_read(file, file.size_bytes > 0), offset, out, size_bytes);
}

bool read_at(File& file, uint64_t offset, void* out, uint64_t size_bytes) {
  return read_some(file, offset, out, size_bytes) == size_bytes;
}

bool write_at(File& file, uint64_t offset, const void* bytes, uint64_t size_bytes) {
  if (!plugin::write_at(file, offset, bytes, size_bytes)) return false;
  file.size_bytes = std::max(file.size_bytes, offset + size_bytes);
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
