// libtiff on files in memory and on disk: what the benchmarks of the run-length format compare with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/pictures.h"

namespace orb::bench {

enum class TiffCoding { none, packbits };

// How rows are handed over: the library has several ways, and none is always the fastest.
struct TiffMode {
  bool by_scanline;  // otherwise by strip
  size_t rows_per_strip;
};

// Every way, for a benchmark to choose the fastest from.
const std::vector<TiffMode>& tiff_modes();

// The picture's channels as planes of a file. `file` is written over, so that its memory can be used again.
class TiffWriter {
 public:
  TiffWriter(const Picture& picture, TiffCoding coding);
  void write(const TiffMode& mode, std::vector<uint8_t>& file) const;
  void write(const TiffMode& mode, const std::string& path) const;

 private:
  void write_all(void* tiff, const TiffMode& mode) const;

  const Picture& picture_;
  TiffCoding coding_;
  std::vector<uint8_t> planes_;  // channel by channel, as the library takes them
};

// Reads all planes, strip by strip, into a buffer of a strip.
class TiffReader {
 public:
  TiffReader(std::vector<uint8_t> file, const Picture& picture, const TiffMode& mode);
  TiffReader(const std::string& path, const Picture& picture, const TiffMode& mode);
  ~TiffReader();
  TiffReader(const TiffReader&) = delete;
  TiffReader& operator=(const TiffReader&) = delete;

  void read_all();
  void read_first();
  // Whether the file holds the picture.
  [[nodiscard]] bool is_same();

 private:
  template <class Use>
  void for_each_strip(Use use);

  std::vector<uint8_t> file_;
  const Picture& picture_;
  TiffMode mode_;
  std::vector<uint8_t> strip_;
  void* tiff_;
};

}  // namespace orb::bench
