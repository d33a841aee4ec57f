// Big-endian numbers in a file.
#include "orbbase/support/resource/stream.h"

#include "orbbase/platform/platform.h"

namespace orb::resource {

bool seek_to(std::FILE* stream, uint64_t offset) {
  return platform::seek_stream(stream, static_cast<int64_t>(offset), SEEK_SET) == 0;
}

bool read_bytes(std::FILE* stream, void* out, uint64_t bytes) {
  return std::fread(out, 1, bytes, stream) == bytes;
}

bool read_half(std::FILE* stream, uint16_t* value_out) {
  uint8_t bytes[2];
  if (!read_bytes(stream, bytes, sizeof(bytes))) return false;
  *value_out = static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
  return true;
}

bool read_word(std::FILE* stream, uint32_t* value_out) {
  uint8_t bytes[4];
  if (!read_bytes(stream, bytes, sizeof(bytes))) return false;
  *value_out = uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
  return true;
}

bool write_bytes(std::FILE* stream, const void* data, uint64_t bytes) {
  return std::fwrite(data, 1, bytes, stream) == bytes;
}

bool write_half(std::FILE* stream, uint16_t value) {
  const uint8_t bytes[] = {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  return write_bytes(stream, bytes, sizeof(bytes));
}

bool write_word(std::FILE* stream, uint32_t value) {
  const uint8_t bytes[] = {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
                           static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  return write_bytes(stream, bytes, sizeof(bytes));
}

}  // namespace orb::resource
