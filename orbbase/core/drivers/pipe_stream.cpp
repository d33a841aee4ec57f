#include "orbbase/core/drivers/pipe_stream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace orb {

const char* const kCutShort = "the stream is cut short";

namespace {

// What a FIFO holds: larger pieces would make a reader wait for bytes of later lines without need.
constexpr uint32_t kPieceBytes = 65536;

constexpr const char* kExtension = ".pipe";

bool exists(const char* path, platform::FileStatus& status) {
  return platform::file_status(path, &status) == 0;
}

bool is_taken_as_given(const ORB_INFO& info) {
  if (info.open_option || std::string_view(info.handle).starts_with("/dev/")) return true;
  platform::FileStatus status;
  return exists(info.handle, status) && !status.is_regular && !status.is_directory;
}

owned<char> copy_of(const char* text) {
  const size_t bytes = std::strlen(text) + 1;
  owned<char> copy(static_cast<char*>(allocate(bytes)));
  if (copy) std::memcpy(copy.get(), text, bytes);
  return copy;
}

std::FILE* standard_stream(const char* path, Direction direction) {
  if (direction == Direction::read) return std::strcmp(path, "/dev/stdin") == 0 ? stdin : nullptr;
  return std::strcmp(path, "/dev/stdout") == 0 ? stdout : nullptr;
}

// As many bytes as there are. A read that a signal interrupted goes on.
size_t read_bytes(std::FILE* file, uint8_t* out, size_t bytes) {
  size_t taken = 0;
  for (;;) {
    errno = 0;
    taken += std::fread(out + taken, 1, bytes - taken, file);
    if (taken == bytes || !std::ferror(file) || errno != EINTR) return taken;
    std::clearerr(file);
  }
}

int write_bytes(std::FILE* file, const uint8_t* bytes, size_t count) {
  const platform::BrokenPipeGuard guard;
  for (;;) {
    errno = 0;
    const size_t written = std::fwrite(bytes, 1, count, file);
    if (written == count) break;
    if (errno != EINTR) return errno != 0 ? errno : EIO;
    std::clearerr(file);
    bytes += written;
    count -= written;
  }
  errno = 0;
  if (std::fflush(file) == 0) return 0;
  return errno != 0 ? errno : EIO;
}

// Why a read ended early.
const char* read_failure(std::FILE* file) {
  const int error = errno;
  return std::ferror(file) && error != 0 ? std::strerror(error) : kCutShort;
}

}  // namespace

owned<char> pipe_path(const ORB_INFO& info, Direction direction) {
  if (is_taken_as_given(info)) return copy_of(info.handle);
  const char* const built = orb__build_handle(nullptr, info.handle, kExtension);
  if (!built) return nullptr;
  platform::FileStatus status;
  if (direction == Direction::read && !exists(built, status) && exists(info.handle, status)) {
    return copy_of(info.handle);
  }
  return copy_of(built);
}

int open_stream(const char* path, Direction direction, PipeStream& stream_out) {
  stream_out = {standard_stream(path, direction), true, false};
  if (stream_out.file) return 0;
  stream_out.is_standard = false;
  platform::FileStatus status;
  const bool is_there = exists(path, status);
  // Some systems open a directory for reading and only fail to read from it.
  if (is_there && status.is_directory) return EISDIR;
  errno = 0;
  stream_out.file = std::fopen(path, direction == Direction::read ? "rb" : "wb");
  if (!stream_out.file) return errno != 0 ? errno : EIO;
  std::setvbuf(stream_out.file, nullptr, _IONBF, 0);
  stream_out.is_new = !is_there && direction == Direction::write;
  return 0;
}

int close_stream(PipeStream& stream) {
  std::FILE* const file = stream.file;
  stream.file = nullptr;
  if (!file || stream.is_standard) return 0;
  const platform::BrokenPipeGuard guard;
  errno = 0;
  if (std::fclose(file) == 0) return 0;
  return errno != 0 ? errno : EIO;
}

void adopt_path(ORB_INFO& info, owned<char> path) {
  ERR_free(info.handle);
  info.handle = path.release();
}

uint8_t* allocate_stream_buffer() { return static_cast<uint8_t*>(allocate(kPieceBytes)); }

const char* StreamReader::take(void* out, size_t bytes, size_t* taken_out) {
  uint8_t* to = static_cast<uint8_t*>(out);
  size_t wanted = bytes;
  while (wanted > 0) {
    if (begin == end && wanted >= kPieceBytes) {
      // Straight to its place, without the buffer.
      const size_t got = read_bytes(stream.file, to, wanted);
      allowed -= got;
      wanted -= got;
      break;
    }
    if (begin == end) {
      begin = 0;
      end = static_cast<uint32_t>(
          read_bytes(stream.file, buffer, static_cast<size_t>(std::min<uint64_t>(allowed, kPieceBytes))));
      allowed -= end;
      if (end == 0) break;
    }
    const size_t got = std::min<size_t>(wanted, end - begin);
    std::memcpy(to, buffer + begin, got);
    begin += static_cast<uint32_t>(got);
    to += got;
    wanted -= got;
  }
  if (taken_out) *taken_out = bytes - wanted;
  return wanted == 0 ? nullptr : read_failure(stream.file);
}

int StreamWriter::put(const void* bytes, size_t count) {
  if (count > kPieceBytes - filled) {
    if (const int error = flush()) return error;
  }
  if (count >= kPieceBytes) return write_bytes(stream.file, static_cast<const uint8_t*>(bytes), count);
  if (count > 0) std::memcpy(buffer + filled, bytes, count);
  filled += static_cast<uint32_t>(count);
  return 0;
}

int StreamWriter::flush() {
  if (filled == 0) return 0;
  const uint32_t count = filled;
  filled = 0;
  return write_bytes(stream.file, buffer, count);
}

}  // namespace orb
