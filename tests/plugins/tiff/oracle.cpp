#include "oracle.h"

#include <memory>

namespace orb::testing {
namespace {

struct Closed {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using Tiff = std::unique_ptr<TIFF, Closed>;

// One sample behind the other, whole bytes as the machine holds them, others from the highest bit on.
void add_sample(std::vector<uint8_t>& row, size_t& bit, uint64_t value, int bits) {
  for (int i = 0; i < bits; ++i, ++bit) {
    const bool is_whole = bits % 8 == 0;
    const int taken = is_whole ? i / 8 * 8 + 7 - i % 8 : bits - 1 - i;
    if (bit / 8 >= row.size()) row.push_back(0);
    if ((value >> taken & 1) != 0) row[bit / 8] = static_cast<uint8_t>(row[bit / 8] | 0x80 >> bit % 8);
  }
}

// The samples of one row from a column on; beyond the picture they are 0.
std::vector<uint8_t> packed_row(const Stored& page, uint32_t first, uint32_t count, uint32_t row, int plane) {
  std::vector<uint8_t> packed;
  size_t bit = 0;
  for (uint32_t x = first; x < first + count; ++x) {
    for (int s = 0; s < page.samples; ++s) {
      if (page.is_planar && s != plane) continue;
      add_sample(packed, bit, x < page.width && row < page.height ? page.at(x, row, s) : 0, page.bits);
    }
  }
  return packed;
}

void write_tiles(TIFF* tiff, const Stored& page, int plane) {
  for (uint32_t y = 0; y < page.height; y += page.tile) {
    for (uint32_t x = 0; x < page.width; x += page.tile) {
      std::vector<uint8_t> tile;
      for (uint32_t i = 0; i < page.tile; ++i) {
        const std::vector<uint8_t> row = packed_row(page, x, page.tile, y + i, plane);
        tile.insert(tile.end(), row.begin(), row.end());
      }
      const uint32_t index = TIFFComputeTile(tiff, x, y, 0, static_cast<uint16_t>(plane));
      ASSERT_GE(TIFFWriteEncodedTile(tiff, index, tile.data(), static_cast<tmsize_t>(tile.size())), 0);
    }
  }
}

void write_page(TIFF* tiff, const Stored& page) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, page.width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, page.height);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, page.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, page.samples);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, page.photometric);
  TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, page.format);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, page.is_planar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, page.compression);
  if (!page.extras.empty()) {
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<int>(page.extras.size()), page.extras.data());
  }
  if (page.tile != 0) {
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, page.tile);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, page.tile);
  } else {
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, page.strip_rows);
  }
  if (page.decorate) page.decorate(tiff);
  for (int plane = 0; plane < (page.is_planar ? page.samples : 1); ++plane) {
    if (page.tile != 0) {
      write_tiles(tiff, page, plane);
      continue;
    }
    for (uint32_t y = 0; y < page.height; ++y) {
      std::vector<uint8_t> row = packed_row(page, 0, page.width, y, plane);
      ASSERT_EQ(TIFFWriteScanline(tiff, row.data(), y, static_cast<uint16_t>(plane)), 1);
    }
  }
  ASSERT_EQ(TIFFWriteDirectory(tiff), 1);
}

}  // namespace

uint64_t Stored::at(uint32_t column, uint32_t row, int sample) const {
  uint64_t value = (uint64_t{column} + 1) * 0x9E3779B97F4A7C15U + row * 0xC2B2AE3D27D4EB4FU +
                   static_cast<uint64_t>(sample) * 0x165667B19E3779F9U;
  value ^= value >> 29;
  return bits == 64 ? value : value & ((uint64_t{1} << bits) - 1);
}

void save_tiff(const std::string& path, const std::vector<Stored>& pages, const char* mode) {
  const Tiff tiff(TIFFOpen(path.c_str(), mode));
  ASSERT_TRUE(tiff);
  for (const Stored& page : pages) write_page(tiff.get(), page);
}

void inspect(const std::string& path, const std::function<void(TIFF*)>& look) {
  const Tiff tiff(TIFFOpen(path.c_str(), "r"));
  ASSERT_TRUE(tiff) << path;
  look(tiff.get());
}

}  // namespace orb::testing
