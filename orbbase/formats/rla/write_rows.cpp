// Writing the rows of RLA files: each image's from the bottom of its window upward.
#include <cerrno>
#include <cstring>

#include "orbbase/driver.h"
#include "orbbase/formats/rla/header.h"
#include "orbbase/formats/rla/writing.h"
#include "orbbase/support/err/internal.h"

namespace orb::rla {
namespace {

constexpr uint64_t kCountBytes = 2;

int32_t cannot_write(Output& output, int32_t line, const char* reason) {
  orb__report(ORB_MSG_CANNOT_WRITE_LINE, line, reason);
  if (output.failure == ORB_OK) output.failure = ORB_E_WRITE;
  return fail(ORB_E_WRITE);
}

// The block is made where it is put. One that is too long stays out of the file.
int32_t write_channel(const WriteImage& image, const SampleCoder& coder, const void* row, int32_t line) {
  Output& output = *image.output;
  const size_t count = image.layout.active_width();
  const uint8_t* const samples = static_cast<const uint8_t*>(row) +
                                 static_cast<size_t>(image.layout.rows.left_pad()) * coder.sample_bytes;
  uint8_t* const room = output.buffer.room();
  const size_t block_bytes = coder.encode(samples, count, {room + kCountBytes, coder.block_room(count)},
                                          {output.scratch, output.scratch_bytes});
  if (block_bytes > kMostBlockBytes)
    return cannot_write(output, line, "a channel takes more than 65535 bytes");
  room[0] = static_cast<uint8_t>(block_bytes >> 8);
  room[1] = static_cast<uint8_t>(block_bytes);
  const int error = output.buffer.put_room(kCountBytes + block_bytes);
  return error == 0 ? ORB_OK : cannot_write(output, line, std::strerror(error));
}

int32_t write_channels(const WriteImage& image, void* const* rows, int32_t line) {
  int32_t channel = 0;
  for (size_t i = 0; i < std::size(image.layout.coders); ++i) {
    for (int32_t left = image.layout.rows.groups[i].channels; left > 0; --left, ++channel) {
      const int32_t code = write_channel(image, *image.layout.coders[i], rows[channel], line);
      if (code != ORB_OK) return code;
    }
  }
  return ORB_OK;
}

int32_t write_active_row(const WriteImage& image, void* const* rows, int32_t line) {
  const uint64_t position = image.output->buffer.position();
  if (position > UINT32_MAX) return cannot_write(*image.output, line, std::strerror(EFBIG));
  const int32_t code = write_channels(image, rows, line);
  if (code != ORB_OK) return code;
  const int64_t index = int64_t{line} - image.layout.rows.active.bottom;
  store_word(static_cast<uint32_t>(position), image.head + kHeaderBytes + 4 * index);
  return ORB_OK;
}

}  // namespace

int32_t write_row(void* data, int32_t line, void* rows) {
  WriteImage& image = *static_cast<WriteImage*>(data);
  const RowLayout& layout = image.layout.rows;
  if (line != image.next_line || !layout.has_line(line)) return bad_scanline(line);
  if (image.output->buffer.has_failed()) return fail(ORB_E_WRITE);  // reported then
  if (layout.has_active_line(line)) {
    const int32_t code = write_active_row(image, static_cast<void* const*>(rows), line);
    if (code != ORB_OK) return code;
  }
  ++image.next_line;
  return ORB_OK;
}

}  // namespace orb::rla
