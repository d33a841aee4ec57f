// libtiff on files in memory and on disk: what the benchmarks of the run-length format compare with.
#pragma once

#include <tiffio.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/pictures.h"

namespace orb::bench {

// How rows are handed over: the library has several ways, and none is always the fastest.
struct TiffMode {
  bool by_scanline;  // otherwise by strip
  size_t rows_per_strip;
};
constexpr TiffMode kTiffModes[] = {{true, 1}, {true, 16}, {false, 1}, {false, 16}};

// The item with which a job takes the least time.
template <class Items, class Job>
auto& fastest(Items& items, Job job) {
  auto* best = &*std::begin(items);
  auto least = std::chrono::steady_clock::duration::max();
  for (int round = 0; round < 4; ++round) {
    for (auto& item : items) {
      const auto begin = std::chrono::steady_clock::now();
      job(item);
      const auto taken = std::chrono::steady_clock::now() - begin;
      if (taken < least) best = &item;
      least = std::min(taken, least);
    }
  }
  return *best;
}

// `file` is written over, so that its memory can be used again.
TIFF* open_tiff(std::vector<uint8_t>& file, const char* mode);
TIFF* open_tiff(const std::string& path, const char* mode);

// The picture's channels as planes of a file. write closes it.
class TiffWriter {
 public:
  explicit TiffWriter(const Picture& picture, uint16_t compression = COMPRESSION_PACKBITS);
  void write(TIFF* tiff, const TiffMode& mode) const;

 private:
  void set_fields(TIFF* tiff, const TiffMode& mode) const;

  const Picture& picture_;
  uint16_t compression_;
  std::vector<uint8_t> planes_;  // channel by channel, as the library takes them
};

// Reads all planes, strip by strip, into a buffer of a strip.
class TiffReader {
 public:
  TiffReader(TIFF* tiff, const Picture& picture, const TiffMode& mode);
  ~TiffReader() { TIFFClose(tiff_); }
  TiffReader(const TiffReader&) = delete;
  TiffReader& operator=(const TiffReader&) = delete;

  void read_all();
  void read_first();
  // Ends the program when the file does not hold the picture.
  void require_same();

 private:
  template <class Use>
  void for_each_strip(Use use);

  TIFF* tiff_;
  const Picture& picture_;
  TiffMode mode_;
  std::vector<uint8_t> strip_;
};

}  // namespace orb::bench
