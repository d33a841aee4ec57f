#include "bands.h"

#include <algorithm>

#include "orbbase/driver.h"

namespace orb::tiff {
namespace {

uint32_t strips_a_plane(const Shape& shape) { return (shape.height - 1) / shape.block_height + 1; }

uint8_t* block_at(const Reader& reader, const Band& band, uint32_t plane, uint32_t across) {
  return reader.current.band + (uint64_t{plane} * band.across + across) * band.block_bytes;
}

// ---- Tiles ----

bool load_tiles(Reader& reader, const Page& page, uint32_t first_row) {
  const Band& band = page.band;
  for (uint32_t plane = 0; plane < band.planes; ++plane) {
    for (uint32_t i = 0; i < band.across; ++i) {
      const uint32_t tile = TIFFComputeTile(reader.codec.tiff, i * page.shape.block_width, first_row, 0,
                                            static_cast<uint16_t>(plane));
      const tmsize_t got = TIFFReadEncodedTile(reader.codec.tiff, tile, block_at(reader, band, plane, i),
                                               static_cast<tmsize_t>(band.block_bytes));
      if (got != static_cast<tmsize_t>(band.block_bytes) || has_error(reader.codec)) return false;
    }
  }
  return true;
}

// ---- Strips that are read as they are ----

void swap_samples(const Shape& shape, uint8_t* bytes, uint64_t size_bytes) {
  for (uint64_t at = 0; shape.bits == 24 && at + 2 < size_bytes; at += 3) std::swap(bytes[at], bytes[at + 2]);
  const uint64_t sample_bytes = shape.bits == 16 || shape.bits == 32 || shape.bits == 64 ? shape.bits / 8 : 0;
  for (uint64_t at = 0; sample_bytes != 0 && at < size_bytes; at += sample_bytes) {
    std::reverse(bytes + at, bytes + at + sample_bytes);
  }
}

bool load_plain_strip(Reader& reader, const Page& page, uint32_t plane, uint32_t first_row, uint32_t count) {
  const Shape& shape = page.shape;
  const uint64_t row_bytes = page.band.row_bytes;
  const uint32_t strip = plane * strips_a_plane(shape) + first_row / shape.block_height;
  const uint64_t offset = TIFFGetStrileOffset(reader.codec.tiff, strip);
  const uint64_t there = TIFFGetStrileByteCount(reader.codec.tiff, strip);
  const uint64_t before = first_row % shape.block_height * row_bytes;
  const uint64_t wanted = count * row_bytes;
  if (offset == 0 || before > there || wanted > there - before || offset > UINT64_MAX - before) {
    reader.codec.file.is_cut = true;
    return false;
  }
  uint8_t* bytes = block_at(reader, page.band, plane, 0);
  if (!read_at(reader.codec.file, offset + before, bytes, wanted)) return false;
  if (shape.fill_order == FILLORDER_LSB2MSB) TIFFReverseBits(bytes, static_cast<tmsize_t>(wanted));
  if (TIFFIsByteSwapped(reader.codec.tiff) != 0) swap_samples(shape, bytes, wanted);
  return true;
}

// ---- Strips that are decoded ----

bool decode_row(Reader& reader, uint32_t row, uint32_t plane, uint8_t* out) {
  return TIFFReadScanline(reader.codec.tiff, out, row, static_cast<uint16_t>(plane)) == 1 &&
         !has_error(reader.codec);
}

// Decodes on from where the decoder is, or from the strip's first row. Returns how many rows of the band came.
uint32_t decode_strip(Reader& reader, const Page& page, uint32_t plane, uint32_t first_row, uint32_t count) {
  Decoder& decoder = reader.current.decoder;
  const uint32_t strip_first = first_row - first_row % page.shape.block_height;
  const uint32_t strip = plane * strips_a_plane(page.shape) + first_row / page.shape.block_height;
  if (!decoder.is_running || decoder.strip != strip || decoder.next_row > first_row) {
    decoder = {true, strip, strip_first};
  }
  uint8_t* bytes = block_at(reader, page.band, plane, 0);
  for (; decoder.next_row < first_row + count; ++decoder.next_row) {
    const uint32_t at = decoder.next_row > first_row ? decoder.next_row - first_row : 0;
    if (decode_row(reader, decoder.next_row, plane, bytes + at * page.band.row_bytes)) continue;
    decoder.is_running = false;
    reader.current.bad_row = std::min(decoder.next_row, reader.current.bad_row);
    return at;
  }
  return count;
}

uint32_t load_strips(Reader& reader, const Page& page, uint32_t first_row, uint32_t count) {
  const bool is_plain = page.shape.compression == COMPRESSION_NONE;
  for (uint32_t plane = 0; plane < page.band.planes && count > 0; ++plane) {
    if (!is_plain) {
      count = std::min(count, decode_strip(reader, page, plane, first_row, count));
    } else if (!load_plain_strip(reader, page, plane, first_row, count)) {
      count = 0;
    }
  }
  return count;
}

// A strip that is damaged is not decoded again and again for every row behind the damage.
bool is_known_bad(const Reader& reader, const Shape& shape, uint32_t row) {
  const uint32_t bad = reader.current.bad_row;
  return row >= bad && row / shape.block_height == bad / shape.block_height;
}

// The band begins where the row's block or, in a high strip, the row's part of it does.
uint32_t first_of_band(const Page& page, uint32_t row) {
  const uint32_t in_block = row % page.shape.block_height;
  return row - in_block % page.band.rows;
}

uint32_t rows_of_band(const Page& page, uint32_t first_row) {
  const uint32_t left_in_block = page.shape.block_height - first_row % page.shape.block_height;
  return std::min({page.band.rows, left_in_block, page.shape.height - first_row});
}

}  // namespace

int32_t load_band(Reader& reader, const Page& page, uint32_t row, int32_t line) {
  Current& current = reader.current;
  if (row >= current.first_row && row - current.first_row < current.row_count) return 0;
  if (current.bad_code != 0 && is_known_bad(reader, page.shape, row)) {
    orb__report(ORB_MSG_CANNOT_DECODE, line);
    return fail(current.bad_code);
  }
  const uint32_t first_row = first_of_band(page, row);
  const uint32_t count = rows_of_band(page, first_row);
  forget_errors(reader.codec);
  current.bad_row = UINT32_MAX;
  current.bad_code = 0;
  current.first_row = first_row;
  current.row_count = 0;
  if (page.shape.is_tiled) {
    current.row_count = load_tiles(reader, page, first_row) ? count : 0;
  } else {
    current.row_count = load_strips(reader, page, first_row, count);
  }
  if (row - first_row < current.row_count) return 0;
  return current.bad_code = report_failure(reader.codec, line);
}

}  // namespace orb::tiff
