#include "stream.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "memory.h"

namespace orb::plugin {
namespace {

constexpr std::string_view kStandardInput = "/dev/stdin";
constexpr std::string_view kStandardOutput = "/dev/stdout";
constexpr int32_t kMostRemarks = 64;

bool refuse_open(const char* name, int error) {
  orb__report(ORB_MSG_CANNOT_OPEN, name, std::strerror(error));
  fail(ORB_E_OPEN);
  return false;
}

// Gives the handle another file name. The old one stays when memory runs out.
bool rename_handle(ORB_IMAGE& image, const char* name) {
  const size_t size_bytes = std::strlen(name) + 1;
  owned<char> copy(static_cast<char*>(allocate(size_bytes)));
  if (!copy) return false;
  std::memcpy(copy.get(), name, size_bytes);
  ERR_free(image.info.handle);
  image.info.handle = copy.release();
  return true;
}

bool is_directory(std::FILE* file) {
  struct stat status;
  return fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode);
}

// error changes when there is such a file and it cannot be opened.
std::FILE* open_with_extension(ORB_IMAGE& image, const char* extension, int& error) {
  const char* built = orb__build_handle(nullptr, image.info.handle, extension);
  if (!built || std::strcmp(built, image.info.handle) == 0) return nullptr;
  std::FILE* file = std::fopen(built, "rb");
  if (!file && errno != ENOENT) error = errno;
  if (!file || rename_handle(image, built)) return file;
  std::fclose(file);
  return nullptr;
}

void remark(Stream& stream, int32_t& count, int32_t message, const char* text) {
  if (count > kMostRemarks) return;
  const bool is_listed = ++count <= kMostRemarks;
  orb__report(message, stream.path, is_listed ? text : "there is more of this; it is not listed");
}

}  // namespace

bool open_for_reading(ORB_IMAGE& image, const char* extension, Stream& stream) {
  const char* name = image.info.handle;
  if (!name) {
    orb__report(ORB_MSG_REQUIRED_FIELD, "handle");
    fail(ORB_E_OPEN);
    return false;
  }
  stream.is_standard = name == kStandardInput;
  stream.file = stream.is_standard ? stdin : std::fopen(name, "rb");
  int error = errno;
  if (!stream.file && error == ENOENT && image.info.open_option == 0) {
    fail(ORB_OK);
    stream.file = open_with_extension(image, extension, error);
    if (!stream.file && orb__err == ORB_E_MEMORY) return false;
  }
  if (!stream.file) return refuse_open(name, error);
  stream.path = image.info.handle;
  // Opening a folder for reading succeeds; its bytes cannot be read.
  return is_directory(stream.file) ? refuse_open(stream.path, EISDIR) : true;
}

bool open_for_writing(ORB_IMAGE& image, const char* extension, Stream& stream) {
  stream.is_standard = image.info.handle == kStandardOutput;
  stream.path = image.info.handle;
  if (stream.is_standard) {
    stream.file = stdout;
    return true;
  }
  if (image.info.open_option == 0) {
    const char* built = orb__build_handle(nullptr, image.info.handle, extension);
    if (!built) return refuse_open(image.info.handle, ENAMETOOLONG);
    if (std::strcmp(built, image.info.handle) != 0 && !rename_handle(image, built)) return false;
    stream.path = image.info.handle;
  }
  stream.file = std::fopen(stream.path, "wbx");
  stream.is_created = stream.file != nullptr;
  if (!stream.file && errno == EEXIST) stream.file = std::fopen(stream.path, "wb");
  return stream.file ? true : refuse_open(stream.path, errno);
}

int finish_writing(Stream& stream) {
  errno = 0;
  int error = std::fflush(stream.file) != 0 ? (errno ? errno : EIO) : 0;
  if (!stream.is_standard && std::fclose(stream.file) != 0 && error == 0) error = errno ? errno : EIO;
  stream.file = nullptr;
  return error;
}

int32_t finish_and_report(Stream& stream) {
  const int error = finish_writing(stream);
  if (error == 0) return ORB_OK;
  orb__report(ORB_MSG_CANNOT_WRITE, stream.path, std::strerror(error));
  return ORB_E_WRITE;
}

void release(Stream& stream) {
  if (stream.file && !stream.is_standard) std::fclose(stream.file);
  stream.file = nullptr;
}

void remove_created(const Stream& stream) {
  if (stream.is_created) std::remove(stream.path);
}

bool is_regular(std::FILE* file) {
  struct stat status;
  return fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode);
}

bool begins_right(const char* name, std::FILE* stream, size_t count, bool (*looks_right)(const uint8_t*)) {
  uint8_t bytes[16];
  const auto asks = [&bytes, count, looks_right](std::FILE* file) {
    return is_regular(file) && std::fread(bytes, 1, count, file) == count && looks_right(bytes);
  };
  if (stream) {
    std::rewind(stream);
    return asks(stream);
  }
  // Asked before it is opened: opening a FIFO would wait for its writer.
  struct stat status;
  if (!name || stat(name, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  std::FILE* own = std::fopen(name, "rb");
  if (!own) return false;
  const bool is_ours = asks(own);
  std::fclose(own);
  return is_ours;
}

void note(Stream& stream, const char* text) { remark(stream, stream.notes, ORB_MSG_READ_NOTE, text); }

void warn(Stream& stream, const char* text) { remark(stream, stream.warnings, ORB_MSG_READ_WARNING, text); }

}  // namespace orb::plugin
