#include "streams.h"

#include <png.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "memory.h"
#include "orbbase/driver.h"

namespace orb::png {
namespace {

constexpr size_t kSignatureBytes = 8;
constexpr std::string_view kStandardInput = "/dev/stdin";
constexpr std::string_view kStandardOutput = "/dev/stdout";

bool refuse_open(const char* name, int error) {
  orb__report(ORB_MSG_CANNOT_OPEN, name, std::strerror(error));
  set_error(ORB_E_OPEN);
  return false;
}

// Gives the handle another file name. The old one stays when memory runs out.
bool rename_handle(ORB_IMAGE& image, const char* name) {
  const size_t size_bytes = std::strlen(name) + 1;
  owned<char> copy(static_cast<char*>(allocate(size_bytes)));
  if (!copy) {
    set_error(ORB_E_MEMORY);
    return false;
  }
  std::memcpy(copy.get(), name, size_bytes);
  ERR_free(image.info.handle);
  image.info.handle = copy.release();
  return true;
}

// The error number of an open stream that is a directory: opening one for reading succeeds.
bool is_directory(std::FILE* stream) {
  struct stat status;
  return fstat(fileno(stream), &status) == 0 && S_ISDIR(status.st_mode);
}

bool is_regular(std::FILE* stream) {
  struct stat status;
  return fstat(fileno(stream), &status) == 0 && S_ISREG(status.st_mode);
}

std::FILE* open_with_extension(ORB_IMAGE& image) {
  const char* built = orb__build_handle(nullptr, image.info.handle, kExtension);
  if (!built || std::strcmp(built, image.info.handle) == 0) return nullptr;
  std::FILE* stream = std::fopen(built, "rb");
  if (!stream) return nullptr;
  if (rename_handle(image, built)) return stream;
  std::fclose(stream);
  return nullptr;
}

bool has_signature(std::FILE* stream) {
  png_byte bytes[kSignatureBytes];
  return std::fread(bytes, 1, sizeof bytes, stream) == sizeof bytes &&
         png_sig_cmp(bytes, 0, sizeof bytes) == 0;
}

}  // namespace

bool open_for_reading(ORB_IMAGE& image, Codec& codec) {
  const char* name = image.info.handle;
  if (!name) {
    orb__report(ORB_MSG_REQUIRED_FIELD, "handle");
    set_error(ORB_E_OPEN);
    return false;
  }
  codec.is_standard_stream = name == kStandardInput;
  codec.stream = codec.is_standard_stream ? stdin : std::fopen(name, "rb");
  const int error = errno;
  if (!codec.stream && error == ENOENT && image.info.open_option == 0) {
    set_error(ORB_OK);
    codec.stream = open_with_extension(image);
    if (!codec.stream && orb__err == ORB_E_MEMORY) return false;
  }
  if (!codec.stream) return refuse_open(name, error);
  codec.path = image.info.handle;
  if (is_directory(codec.stream)) return refuse_open(codec.path, EISDIR);
  return true;
}

bool open_for_writing(ORB_IMAGE& image, Codec& codec) {
  codec.is_standard_stream = image.info.handle == kStandardOutput;
  codec.path = image.info.handle;
  if (codec.is_standard_stream) {
    codec.stream = stdout;
    return true;
  }
  if (image.info.open_option == 0) {
    const char* built = orb__build_handle(nullptr, image.info.handle, kExtension);
    if (!built) return refuse_open(image.info.handle, ENAMETOOLONG);
    if (std::strcmp(built, image.info.handle) != 0 && !rename_handle(image, built)) return false;
    codec.path = image.info.handle;
  }
  codec.stream = std::fopen(codec.path, "wbx");
  codec.is_created = codec.stream != nullptr;
  if (!codec.stream && errno == EEXIST) codec.stream = std::fopen(codec.path, "wb");
  return codec.stream ? true : refuse_open(codec.path, errno);
}

bool read_signature(Codec& codec) {
  png_byte bytes[kSignatureBytes];
  errno = 0;
  const size_t got = std::fread(bytes, 1, sizeof bytes, codec.stream);
  if (got < sizeof bytes && std::ferror(codec.stream)) {
    codec.io_error = errno ? errno : EIO;
    report_failure(codec, kNoLine);
    return false;
  }
  if (got == sizeof bytes && png_sig_cmp(bytes, 0, sizeof bytes) == 0) return true;
  const char* reason = got == 0             ? "the file is empty"
                       : got < sizeof bytes ? "the file is shorter than a PNG signature"
                                            : "it begins with other bytes";
  orb__report(ORB_MSG_NOT_OF_FORMAT, codec.path, "PNG", reason);
  set_error(ORB_E_FORMAT);
  return false;
}

int finish_writing(Codec& codec) {
  errno = 0;
  int error = std::fflush(codec.stream) != 0 ? errno : 0;
  if (!codec.is_standard_stream && std::fclose(codec.stream) != 0 && error == 0) error = errno ? errno : EIO;
  codec.stream = nullptr;
  return error;
}

void remove_created(const Codec& codec) {
  if (codec.is_created) std::remove(codec.path);
}

bool is_png(const char* name, std::FILE* stream) {
  if (stream) {
    if (!is_regular(stream)) return false;
    std::rewind(stream);
    return has_signature(stream);
  }
  // Asked before it is opened: opening a FIFO would wait for its writer.
  struct stat status;
  if (!name || stat(name, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  std::FILE* own = std::fopen(name, "rb");
  if (!own) return false;
  const bool is_ours = has_signature(own);
  std::fclose(own);
  return is_ours;
}

}  // namespace orb::png
