#include "orbbase/formats/rla/output_buffer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "orbbase/platform/platform.h"
#include "orbbase/support/err/internal.h"

namespace orb::rla {
namespace {

// Files written in small pieces are read back more slowly from the system's cache.
constexpr uint64_t kPieceBytes = 262144;

int system_error() { return errno != 0 ? errno : EIO; }

}  // namespace

bool OutputBuffer::start(uint64_t most_put_bytes) {
  *this = {};
  block_ = static_cast<uint8_t*>(allocate(kPieceBytes + most_put_bytes));
  return block_ != nullptr;
}

int OutputBuffer::finish() {
  ERR_free(block_);
  block_ = nullptr;
  std::FILE* const file = stream_.file;
  stream_.file = nullptr;
  if (!file || stream_.is_standard) return 0;
  const platform::BrokenPipeGuard guard;
  errno = 0;
  return std::fclose(file) == 0 ? 0 : system_error();
}

uint64_t OutputBuffer::piece_bytes() const { return kPieceBytes - written_bytes_ % kPieceBytes; }

int OutputBuffer::put_room(uint64_t bytes) {
  filled_bytes_ += bytes;
  const uint64_t piece = piece_bytes();
  if (filled_bytes_ < piece) return error_;
  const int error = write(block_, piece);
  if (error != 0) return error;
  filled_bytes_ -= piece;
  std::memmove(block_, block_ + piece, filled_bytes_);
  return 0;
}

int OutputBuffer::put(std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const size_t count = static_cast<size_t>(std::min<uint64_t>(bytes.size(), piece_bytes() - filled_bytes_));
    std::memcpy(room(), bytes.data(), count);
    if (const int error = put_room(count)) return error;
    bytes = bytes.subspan(count);
  }
  return error_;
}

int OutputBuffer::flush() {
  const int error = write(block_, filled_bytes_);
  filled_bytes_ = 0;
  return error;
}

// A failure is kept, and drops what is held: what follows would stand in a wrong place.
int OutputBuffer::write(const uint8_t* bytes, uint64_t count) {
  if (error_ != 0) {
    filled_bytes_ = 0;
    return error_;
  }
  const platform::BrokenPipeGuard guard;
  errno = 0;
  const bool is_written =
      std::fwrite(bytes, 1, count, stream_.file) == count && std::fflush(stream_.file) == 0;
  written_bytes_ += count;
  if (is_written) return 0;
  filled_bytes_ = 0;
  return error_ = system_error();
}

int OutputBuffer::replace(uint64_t position, std::span<const uint8_t> bytes) {
  errno = 0;
  if (platform::seek_stream(stream_.file, static_cast<int64_t>(position), SEEK_SET) != 0)
    return system_error();
  const platform::BrokenPipeGuard guard;
  errno = 0;
  return std::fwrite(bytes.data(), 1, bytes.size(), stream_.file) == bytes.size() ? 0 : system_error();
}

}  // namespace orb::rla
