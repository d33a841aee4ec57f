// Reading the rows of an open RLA file, any row at any time.
#include <cstring>

#include "orbbase/driver.h"
#include "orbbase/formats/rla/header.h"
#include "orbbase/formats/rla/plane_coder.h"
#include "orbbase/formats/rla/reading.h"
#include "orbbase/support/err/internal.h"

namespace orb::rla {
namespace {

constexpr uint64_t kCountBytes = 2;
constexpr const char* kCall = "ORB_scan_read";

int32_t cannot_decode(int32_t line) {
  orb__report(ORB_MSG_CANNOT_DECODE, line);
  return fail(ORB_E_DECODE);
}

int32_t cannot_read(int32_t line, int error) {
  if (error == InputWindow::kNoMemory) return fail(ORB_E_MEMORY);
  orb__report(ORB_MSG_CANNOT_READ_LINE, line, error != 0 ? std::strerror(error) : "the file is cut short");
  return fail(ORB_E_READ);
}

// What rows need is allocated when the first one is wanted: a file of many images costs what is read of it.
int32_t prepare_rows(ReadImage& image) {
  image.rows = allocate_rows(image.layout.rows, image.input->held_bytes, kCall, kPlaneSlack);
  return image.rows ? ORB_OK : ORB_E_MEMORY;
}

// What only rows in the file need.
int32_t prepare_active_rows(ReadImage& image, int32_t line) {
  Input& input = *image.input;
  const uint64_t table_bytes = image.layout.table_bytes;
  const uint64_t scratch_bytes = image.layout.scratch_bytes;
  const uint64_t held_bytes = input.held_bytes + table_bytes + scratch_bytes;
  if (!orb__within_limit(ORB_LIMIT_HANDLE, held_bytes, kCall)) return ORB_E_MEMORY;
  const uint8_t* const bytes = input.window.take(image.table_position, table_bytes);
  if (!bytes) return cannot_read(line, input.window.error());
  owned<uint8_t> table(static_cast<uint8_t*>(allocate(table_bytes)));
  owned<uint8_t> scratch(scratch_bytes > 0 ? static_cast<uint8_t*>(allocate(scratch_bytes)) : nullptr);
  if (!table || (scratch_bytes > 0 && !scratch)) return fail(ORB_E_MEMORY);
  std::memcpy(table.get(), bytes, table_bytes);
  image.table = table.release();
  image.scratch = scratch.release();
  input.held_bytes = held_bytes;
  return ORB_OK;
}

bool has_allowed_size(const ReadImage& image, const SampleCoder& coder, uint64_t block_bytes) {
  if (!coder.is_coded) return block_bytes == coder.least_block_bytes(image.layout.active_width());
  return block_bytes <= image.most_block_bytes;
}

// Decodes the block at the position into a row, and moves on behind it. A decoder writes over the beginning of
// the next channel's row, so the zeros around the samples are put there row by row.
int32_t read_channel(const ReadImage& image, const SampleCoder& coder, int32_t line, uint8_t* row,
                     uint64_t& position) {
  InputWindow& window = image.input->window;
  const uint8_t* bytes = window.take(position, kCountBytes);
  if (!bytes) return cannot_read(line, window.error());
  const uint64_t block_bytes = static_cast<uint64_t>(bytes[0]) << 8 | bytes[1];
  if (!has_allowed_size(image, coder, block_bytes)) return cannot_decode(line);
  bytes = window.take(position, kCountBytes + block_bytes);
  if (!bytes) return cannot_read(line, window.error());
  position += kCountBytes + block_bytes;
  const Layout& layout = image.layout;
  const size_t left_bytes = static_cast<size_t>(layout.rows.left_pad()) * coder.sample_bytes;
  const size_t sample_bytes = layout.active_width() * coder.sample_bytes;
  const size_t row_bytes = static_cast<size_t>(layout.rows.width()) * coder.sample_bytes;
  if (left_bytes > 0) std::memset(row, 0, left_bytes);
  if (!coder.decode({bytes + kCountBytes, block_bytes}, row + left_bytes, layout.active_width(),
                    {image.scratch, layout.scratch_bytes})) {
    return cannot_decode(line);
  }
  const size_t right_bytes = row_bytes - left_bytes - sample_bytes;
  if (right_bytes > 0) std::memset(row + left_bytes + sample_bytes, 0, right_bytes);
  return ORB_OK;
}

int32_t read_channels(const ReadImage& image, int32_t line, uint64_t position) {
  int32_t channel = 0;
  for (size_t i = 0; i < std::size(image.layout.coders); ++i) {
    for (int32_t left = image.layout.rows.groups[i].channels; left > 0; --left, ++channel) {
      uint8_t* const row = static_cast<uint8_t*>(image.rows[channel]);
      const int32_t code = read_channel(image, *image.layout.coders[i], line, row, position);
      if (code != ORB_OK) return code;
    }
  }
  return ORB_OK;
}

int32_t read_active_row(ReadImage& image, int32_t line) {
  if (image.layout.rows.channels == 0) return ORB_OK;
  const int32_t code = image.table ? ORB_OK : prepare_active_rows(image, line);
  if (code != ORB_OK) return code;
  const int64_t index = int64_t{line} - image.layout.rows.active.bottom;
  const uint64_t position = load_word(image.table + 4 * index);
  return position < kHeaderBytes ? cannot_decode(line) : read_channels(image, line, position);
}

}  // namespace

int32_t read_row(void* data, int32_t line, void* rows_out) {
  ReadImage& image = *static_cast<ReadImage*>(data);
  const RowLayout& rows = image.layout.rows;
  if (!rows.has_line(line)) return bad_scanline(line);
  int32_t code = image.rows ? ORB_OK : prepare_rows(image);
  if (code == ORB_OK && rows.has_active_line(line)) {
    code = read_active_row(image, line);
  } else if (code == ORB_OK) {
    zero_rows(rows, image.rows);
  }
  if (code == ORB_OK) *static_cast<void***>(rows_out) = image.rows;
  return code;
}

}  // namespace orb::rla
