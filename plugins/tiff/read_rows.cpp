// The scanlines of a TIFF: from the band's packed rows to the channel rows that a reader gives out.
#include <algorithm>
#include <cstring>

#include "bands.h"
#include "orbbase/driver.h"
#include "plugins/common/memory.h"
#include "read.h"
#include "samples.h"

namespace orb::tiff {
namespace {

// ---- Choosing a page ----

bool make_buffers(Reader& reader, const ReadPage& read) {
  Current& current = reader.current;
  const Page& page = read.page;
  ORB_IFD ifd = read.ifd;
  current.rows = ORB_chan_alloc(&ifd, static_cast<int32_t>(page.shape.width), kKey, nullptr);
  current.band = make_zeroed<uint8_t>(page.band.bytes()).release();
  const bool has_palette = page.shape.photometric == PHOTOMETRIC_PALETTE;
  if (has_palette) current.indices = make_zeroed<uint16_t>(page.shape.width).release();
  if (current.rows && current.band && (!has_palette || current.indices)) return true;
  return false;
}

bool choose_palette(Reader& reader, const Page& page) {
  if (page.shape.photometric != PHOTOMETRIC_PALETTE) return true;
  reader.codec.is_muted = true;
  const bool is_taken = take_palette(reader.codec, page, &reader.current.palette);
  reader.codec.is_muted = false;
  return is_taken;
}

bool choose(const ReadPage& read) {
  Reader& reader = *read.reader;
  if (reader.current.index == read.index) return true;
  release_current(reader);
  if (!go_to(reader.codec, read.page) || !choose_palette(reader, read.page) || !make_buffers(reader, read)) {
    release_current(reader);
    return false;
  }
  reader.current.index = read.index;
  return true;
}

// ---- Channel rows ----

size_t bytes_of(uint32_t type, int32_t width) {
  if (type != ORB_C_INTEGER) return type == ORB_C_DOUBLE ? 8 : 4;
  return width <= 8 ? 1 : width <= 16 ? 2 : 4;
}

// One packed stretch of the row: a tile's part of it, or all.
struct Stretch {
  const uint8_t* packed;
  Place place;
  size_t column;
  size_t pixels;
};

void take_colours(const Current& current, const Channels& channels, const Stretch& stretch) {
  uint16_t* indices = current.indices;
  take_samples(stretch.place, stretch.packed, stretch.pixels, true, indices);
  for (int32_t c = 0; c < 3; ++c) {
    if (channels.colour_width > 8) {
      auto* row = static_cast<uint16_t*>(current.rows[c]) + stretch.column;
      look_up(indices, stretch.pixels, current.palette.entries[c], row);
    } else {  // the low byte of a multiple of 257 is the value of 8 bits
      auto* row = static_cast<uint8_t*>(current.rows[c]) + stretch.column;
      look_up(indices, stretch.pixels, current.palette.entries[c], row);
    }
  }
}

void take_stretch(const Current& current, const Channels& channels, int32_t sample, const Stretch& stretch) {
  const bool is_palette = current.indices != nullptr && sample == 0;
  if (is_palette && !channels.has_indices) return take_colours(current, channels, stretch);
  const size_t sample_bytes = is_palette ? 2 : bytes_of(channels.type, channels.width);
  auto* row = static_cast<uint8_t*>(current.rows[channels.row_of(sample)]) + stretch.column * sample_bytes;
  take_samples(stretch.place, stretch.packed, stretch.pixels, is_palette, row);
}

// Every channel's pass over the packed pixels finds them in the nearest cache, however many channels there are.
constexpr uint64_t kTakenBits = uint64_t{8} * (16U << 10);

// All channels of a stretch, in pieces that begin on whole bytes.
void take_pixels(const Current& current, const Page& page, uint32_t first_sample, const Stretch& all) {
  const size_t unit = page.band.unit;
  const uint64_t pixel_bits = unit * static_cast<uint64_t>(page.shape.bits);
  const size_t most = std::max<size_t>(kTakenBits / pixel_bits / 8, 8) * 8;
  for (size_t first = 0; first < all.pixels; first += most) {
    const size_t pixels = std::min(most, all.pixels - first);
    const uint8_t* packed = all.packed + first / 8 * pixel_bits;
    for (size_t c = 0; c < unit; ++c) {
      const Place place = {page.channels.form, page.shape.bits, unit, c};
      take_stretch(current, page.channels, static_cast<int32_t>(first_sample + c),
                   {packed, place, all.column + first, pixels});
    }
  }
}

void take_row(const Reader& reader, const Page& page, uint32_t row) {
  const Band& band = page.band;
  const uint64_t in_block = (row - reader.current.first_row) * band.row_bytes;
  for (uint32_t plane = 0; plane < band.planes; ++plane) {
    for (uint32_t i = 0; i < band.across; ++i) {
      const uint8_t* packed =
          reader.current.band + (uint64_t{plane} * band.across + i) * band.block_bytes + in_block;
      const size_t column = size_t{i} * page.shape.block_width;
      const size_t pixels = std::min<size_t>(page.shape.block_width, page.shape.width - column);
      take_pixels(reader.current, page, plane, {packed, {}, column, pixels});
    }
  }
}

template <class T>
void turn_colour(const Page& page, void* row) {
  const auto largest = static_cast<T>((uint64_t{1} << page.shape.bits) - 1);
  turn_around(static_cast<T*>(row), page.shape.width, largest);
}

void turn_colour_around(const Page& page, void* row) {
  const size_t sample_bytes = bytes_of(ORB_C_INTEGER, page.channels.width);
  if (sample_bytes == 1) return turn_colour<uint8_t>(page, row);
  if (sample_bytes == 2) return turn_colour<uint16_t>(page, row);
  turn_colour<uint32_t>(page, row);
}

void mirror_row(void* row, size_t sample_bytes, size_t pixels) {
  if (sample_bytes == 1) return mirror(static_cast<uint8_t*>(row), pixels);
  if (sample_bytes == 2) return mirror(static_cast<uint16_t*>(row), pixels);
  if (sample_bytes == 4) return mirror(static_cast<uint32_t*>(row), pixels);
  mirror(static_cast<uint64_t*>(row), pixels);
}

void mirror_rows(const Reader& reader, const Page& page) {
  const Channels& channels = page.channels;
  for (int32_t i = 0; i < channels.total(); ++i) {
    const bool is_index = channels.has_indices && i == channels.total() - 1;
    const int32_t width = i < channels.colours ? channels.colour_width : channels.width;
    mirror_row(reader.current.rows[i], is_index ? 2 : bytes_of(channels.type, width), page.shape.width);
  }
}

}  // namespace

int32_t read_scan(void* data, int32_t line, void* rows_out) {
  const ReadPage& read = *static_cast<ReadPage*>(data);
  const Page& page = read.page;
  const ORB_WINDOW& window = read.ifd.window;
  if (line < window.bottom || line > window.top) {
    return plugin::refuse_line(line);
  }
  if (!choose(read)) return orb__err;
  Reader& reader = *read.reader;
  const int64_t row = page.is_upward ? int64_t{line} - window.bottom : int64_t{window.top} - line;
  const int32_t code = load_band(reader, page, static_cast<uint32_t>(row), line);
  if (code != 0) return code;
  take_row(reader, page, static_cast<uint32_t>(row));
  if (page.turns_around) turn_colour_around(page, reader.current.rows[0]);
  if (page.is_mirrored) mirror_rows(reader, page);
  *static_cast<void***>(rows_out) = reader.current.rows;
  return 0;
}

int32_t read_lut(void* data, ORB_LUT** lut_out) {
  const ReadPage& read = *static_cast<ReadPage*>(data);
  if (!choose(read)) return orb__err;
  const Palette16& palette = read.reader->current.palette;
  if (palette.count == 0) return fail(ORB_E_HANDLE);
  ORB_LUT* lut = ORB_lut_alloc(static_cast<int32_t>(palette.count));
  if (!lut) return orb__err;
  for (uint32_t i = 0; i < palette.count; ++i) {
    for (uint32_t c = 0; c < 3; ++c) lut->entries[i].rgba[c] = palette.entries[c][i];
    lut->entries[i].rgba[3] = UINT16_MAX;
  }
  *lut_out = lut;
  return ORB_OK;
}

void release_current(Reader& reader) {
  Current& current = reader.current;
  ORB_chan_free(current.rows);
  ERR_free(current.band);
  ERR_free(current.indices);
  ERR_free(current.palette.entries[0]);
  current = {};
  current.index = -1;
  current.bad_row = UINT32_MAX;
}

}  // namespace orb::tiff
