// Reading the rows of an open RLA file, any row at any time.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>

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

// Rows that go past their ends by the slack spoil the next row when they are decoded in turns. Short rows are not:
// they would take more memory than their samples.
constexpr uint64_t kSpacedRowBytes = 512;

uint64_t row_bytes(const RowLayout& rows, const RowLayout::Group& group) {
  return static_cast<uint64_t>(rows.width()) * group.sample_bytes;
}

bool has_spaced_rows(const RowLayout& rows) {
  return std::all_of(std::begin(rows.groups), std::end(rows.groups), [&rows](const RowLayout::Group& group) {
    return group.channels == 0 || row_bytes(rows, group) >= kSpacedRowBytes;
  });
}

uint64_t row_stride(const ReadImage& image, const RowLayout::Group& group) {
  const uint64_t bytes = row_bytes(image.layout.rows, group) + (image.rows_are_spaced ? kPlaneSlack : 0);
  return (bytes + kSampleAlignment - 1) / kSampleAlignment * kSampleAlignment;
}

// Whether a line is so long, and all of it samples as they are, that a copy of its own in the window would cost
// more than a call of the system for each line.
bool can_pass_window(const ReadImage& image) {
  constexpr uint64_t kLeastBytes = 16384;
  const auto is_plain = [](const SampleCoder* coder) { return !coder || !coder->is_coded; };
  return image.rows_are_spaced && image.layout.rows.packed_bytes >= kLeastBytes &&
         std::all_of(std::begin(image.layout.coders), std::end(image.layout.coders), is_plain);
}

// What rows need is allocated when the first one is wanted: a file of many images costs what is read of it. One
// block has the pointers and the rows, which all lie at aligned addresses.
int32_t prepare_rows(ReadImage& image) {
  const RowLayout& rows = image.layout.rows;
  image.rows_are_spaced = has_spaced_rows(rows);
  // What cannot be positioned has given some of the first line to the window already.
  image.passes_window = can_pass_window(image) && image.input->window.file_bytes() != UINT64_MAX;
  const uint64_t pointer_bytes = static_cast<uint64_t>(rows.channels) * sizeof(void*);
  uint64_t bytes = pointer_bytes + kSampleAlignment + kPlaneSlack;
  for (const RowLayout::Group& group : rows.groups)
    bytes += static_cast<uint64_t>(group.channels) * row_stride(image, group);
  const uint64_t held_bytes = image.input->held_bytes + bytes;
  if (!orb__within_limit(ORB_LIMIT_BUFFER, bytes, kCall)) return ORB_E_MEMORY;
  if (!orb__within_limit(ORB_LIMIT_HANDLE, held_bytes, kCall)) return ORB_E_MEMORY;
  uint8_t* const block = static_cast<uint8_t*>(allocate(bytes));
  if (!block) return fail(ORB_E_MEMORY);
  image.input->held_bytes = held_bytes;
  image.rows = reinterpret_cast<void**>(block);
  uint8_t* row = aligned_samples(block + pointer_bytes);
  int32_t channel = 0;
  for (const RowLayout::Group& group : rows.groups) {
    for (int32_t i = 0; i < group.channels; ++i, row += row_stride(image, group)) image.rows[channel++] = row;
  }
  return ORB_OK;
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

uint8_t* active_samples(const ReadImage& image, const SampleCoder& coder, int32_t channel) {
  const size_t left_bytes = static_cast<size_t>(image.layout.rows.left_pad()) * coder.sample_bytes;
  return static_cast<uint8_t*>(image.rows[channel]) + left_bytes;
}

uint64_t load_count(const uint8_t* bytes) { return static_cast<uint64_t>(bytes[0]) << 8 | bytes[1]; }

// Decodes the block at the position into a row, and moves on behind it.
int32_t read_channel(const ReadImage& image, const SampleCoder& coder, int32_t line, int32_t channel,
                     uint64_t& position) {
  InputWindow& window = image.input->window;
  const uint8_t* bytes = window.take(position, kCountBytes);
  if (!bytes) return cannot_read(line, window.error());
  const uint64_t block_bytes = load_count(bytes);
  if (!has_allowed_size(image, coder, block_bytes)) return cannot_decode(line);
  bytes = window.take(position, kCountBytes + block_bytes);
  if (!bytes) return cannot_read(line, window.error());
  position += kCountBytes + block_bytes;
  const Layout& layout = image.layout;
  const bool is_row = coder.decode({bytes + kCountBytes, block_bytes}, active_samples(image, coder, channel),
                                   layout.active_width(), {image.scratch, layout.scratch_bytes});
  return is_row ? ORB_OK : cannot_decode(line);
}

// The next channels together, where their blocks are in memory. False when they are not, or are no rows: the
// channels are then to be read one by one.
bool read_abreast(const ReadImage& image, const SampleCoder& coder, int32_t channel, uint64_t& position) {
  const InputWindow& window = image.input->window;
  CodedPlane planes[kAbreast];
  uint64_t end = position;
  for (CodedPlane& plane : planes) {
    const uint8_t* const count = window.held(end, kCountBytes);
    if (!count) return false;
    const uint64_t block_bytes = load_count(count);
    end += kCountBytes + block_bytes;
    if (!has_allowed_size(image, coder, block_bytes) || !window.held(position, end - position)) return false;
    plane.coded = {count + kCountBytes, block_bytes};
    plane.samples = {active_samples(image, coder, channel++), image.layout.active_width()};
  }
  if (!decode_abreast(planes)) return false;
  position = end;
  return true;
}

// All channels of a group.
int32_t read_group(const ReadImage& image, const SampleCoder& coder, int32_t line, int32_t channel,
                   int32_t count, uint64_t& position) {
  const bool is_abreast = image.rows_are_spaced && coder.is_coded && coder.sample_bytes == 1;
  const int32_t end = channel + count;
  while (channel < end) {
    if (is_abreast && end - channel >= int32_t{kAbreast} && read_abreast(image, coder, channel, position)) {
      channel += int32_t{kAbreast};
      continue;
    }
    const int32_t code = read_channel(image, coder, line, channel++, position);
    if (code != ORB_OK) return code;
  }
  return ORB_OK;
}

int32_t read_channels(const ReadImage& image, int32_t line, uint64_t position) {
  int32_t channel = 0;
  for (size_t i = 0; i < std::size(image.layout.coders); ++i) {
    const int32_t count = image.layout.rows.groups[i].channels;
    if (count == 0) continue;
    const int32_t code = read_group(image, *image.layout.coders[i], line, channel, count, position);
    if (code != ORB_OK) return code;
    channel += count;
  }
  return ORB_OK;
}

// ---- Rows of samples as they are ----

// Reads a line into its rows as it lies in the file, and then moves each channel to its row, the last first: a row
// begins behind where the file has it, by the slack of the rows before. False when the channels are to be read one by
// one, which finds the fault.
bool read_plain_channels(const ReadImage& image, uint64_t position) {
  const RowLayout& rows = image.layout.rows;
  int32_t channel = rows.channels;
  const uint64_t line_bytes = rows.packed_bytes + static_cast<uint64_t>(channel) * kCountBytes;
  auto* const line = static_cast<uint8_t*>(image.rows[0]);
  if (!image.input->window.read_past(position, line, line_bytes)) return false;
  const uint8_t* at = line + line_bytes;
  for (size_t i = std::size(image.layout.coders); i-- > 0;) {
    const SampleCoder* const coder = image.layout.coders[i];
    for (int32_t left = rows.groups[i].channels; left > 0; --left) {
      const uint64_t block_bytes = coder->least_block_bytes(image.layout.active_width());
      at -= block_bytes + kCountBytes;
      if (load_count(at) != block_bytes) return false;
      std::memmove(active_samples(image, *coder, --channel), at + kCountBytes, block_bytes);
    }
  }
  return true;
}

int32_t read_active_row(ReadImage& image, int32_t line) {
  if (image.layout.rows.channels == 0) return ORB_OK;
  const int32_t code = image.table ? ORB_OK : prepare_active_rows(image, line);
  if (code != ORB_OK) return code;
  const int64_t index = int64_t{line} - image.layout.rows.active.bottom;
  const uint64_t position = load_word(image.table + 4 * index);
  if (position < kHeaderBytes) return cannot_decode(line);
  if (!image.passes_window || !read_plain_channels(image, position)) {
    const int32_t row_code = read_channels(image, line, position);
    if (row_code != ORB_OK) return row_code;
  }
  zero_pads(image.layout.rows, image.rows);
  return ORB_OK;
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
