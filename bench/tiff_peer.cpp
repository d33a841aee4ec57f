#include "bench/tiff_peer.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace orb::bench {
namespace {

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "libtiff: %s\n", what);
  std::exit(2);
}

// ---- A file in memory ----

struct MemoryFile {
  std::vector<uint8_t>& bytes;
  size_t position = 0;
  size_t size = 0;  // of the file: the vector never shrinks, so that its memory is used again
};

MemoryFile& file_of(thandle_t handle) { return *static_cast<MemoryFile*>(handle); }

tmsize_t read_memory(thandle_t handle, void* out, tmsize_t wanted) {
  MemoryFile& file = file_of(handle);
  const size_t count = std::min(static_cast<size_t>(wanted), file.size - std::min(file.position, file.size));
  std::memcpy(out, file.bytes.data() + file.position, count);
  file.position += count;
  return static_cast<tmsize_t>(count);
}

tmsize_t write_memory(thandle_t handle, void* in, tmsize_t size) {
  MemoryFile& file = file_of(handle);
  const size_t end = file.position + static_cast<size_t>(size);
  if (end > file.bytes.size()) file.bytes.resize(2 * end);
  std::memcpy(file.bytes.data() + file.position, in, static_cast<size_t>(size));
  file.position = end;
  file.size = std::max(file.size, end);
  return size;
}

toff_t seek_memory(thandle_t handle, toff_t offset, int whence) {
  MemoryFile& file = file_of(handle);
  const size_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file.position : file.size;
  file.position = base + offset;
  return file.position;
}

toff_t size_of_memory(thandle_t handle) { return file_of(handle).size; }

int map_memory(thandle_t handle, void** base, toff_t* size) {
  *base = file_of(handle).bytes.data();
  *size = file_of(handle).size;
  return 1;
}

void unmap_memory(thandle_t, void*, toff_t) {}

int close_memory(thandle_t handle) {
  delete static_cast<MemoryFile*>(handle);
  return 0;
}

TIFF* open_memory(MemoryFile* file, const char* mode) {
  TIFF* tiff = TIFFClientOpen("memory", mode, file, read_memory, write_memory, seek_memory, close_memory,
                              size_of_memory, map_memory, unmap_memory);
  if (!tiff) give_up("cannot open");
  return tiff;
}

TIFF* open_path(const std::string& path, const char* mode) {
  TIFF* tiff = TIFFOpen(path.c_str(), mode);
  if (!tiff) give_up("cannot open");
  return tiff;
}

// ---- Fields ----

void set_fields(TIFF* tiff, const Picture& picture, TiffCoding coding, const TiffMode& mode) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(picture.width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(picture.height));
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, static_cast<int>(picture.channels()));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, static_cast<int>(8 * sample_bytes(picture.depth)));
  TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT,
               picture.depth == Depth::floats ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(mode.rows_per_strip));
  TIFFSetField(tiff, TIFFTAG_COMPRESSION,
               coding == TiffCoding::none ? COMPRESSION_NONE : COMPRESSION_PACKBITS);
  const std::vector<uint16_t> more(picture.channels() - 3, EXTRASAMPLE_UNSPECIFIED);
  if (!more.empty()) TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<int>(more.size()), more.data());
}

}  // namespace

const std::vector<TiffMode>& tiff_modes() {
  static const std::vector<TiffMode> modes = {{true, 1}, {true, 16}, {false, 1}, {false, 16}};
  return modes;
}

TiffWriter::TiffWriter(const Picture& picture, TiffCoding coding) : picture_(picture), coding_(coding) {
  for (size_t channel = 0; channel < picture.channels(); ++channel) {
    for (size_t line = 0; line < picture.height; ++line) {
      const auto row = picture.row(line, channel);
      planes_.insert(planes_.end(), row.begin(), row.end());
    }
  }
}

void TiffWriter::write(const TiffMode& mode, std::vector<uint8_t>& file) const {
  write_all(open_memory(new MemoryFile{file}, "w"), mode);
}

void TiffWriter::write(const TiffMode& mode, const std::string& path) const {
  write_all(open_path(path, "w"), mode);
}

void TiffWriter::write_all(void* handle, const TiffMode& mode) const {
  TIFF* tiff = static_cast<TIFF*>(handle);
  set_fields(tiff, picture_, coding_, mode);
  const size_t step = mode.by_scanline ? 1 : mode.rows_per_strip;
  auto* rows = const_cast<uint8_t*>(planes_.data());
  uint32_t strip = 0;
  for (size_t channel = 0; channel < picture_.channels(); ++channel) {
    for (size_t line = 0; line < picture_.height; line += step) {
      const size_t bytes = std::min(step, picture_.height - line) * picture_.row_bytes();
      const bool is_written =
          mode.by_scanline ? TIFFWriteScanline(tiff, rows, static_cast<uint32_t>(line),
                                               static_cast<uint16_t>(channel)) >= 0
                           : TIFFWriteEncodedStrip(tiff, strip++, rows, static_cast<tmsize_t>(bytes)) >= 0;
      if (!is_written) give_up("cannot write");
      rows += bytes;
    }
  }
  TIFFClose(tiff);
}

TiffReader::TiffReader(std::vector<uint8_t> file, const Picture& picture, const TiffMode& mode)
    : file_(std::move(file)),
      picture_(picture),
      mode_(mode),
      strip_(mode.rows_per_strip * picture.row_bytes()) {
  tiff_ = open_memory(new MemoryFile{file_, 0, file_.size()}, "r");
}

TiffReader::TiffReader(const std::string& path, const Picture& picture, const TiffMode& mode)
    : picture_(picture), mode_(mode), strip_(mode.rows_per_strip * picture.row_bytes()) {
  tiff_ = open_path(path, "r");
}

TiffReader::~TiffReader() { TIFFClose(static_cast<TIFF*>(tiff_)); }

template <class Use>
void TiffReader::for_each_strip(Use use) {
  TIFF* tiff = static_cast<TIFF*>(tiff_);
  uint32_t strip = 0;
  for (size_t channel = 0; channel < picture_.channels(); ++channel) {
    const size_t step = mode_.by_scanline ? 1 : mode_.rows_per_strip;
    for (size_t line = 0; line < picture_.height; line += step) {
      const bool is_read =
          mode_.by_scanline
              ? TIFFReadScanline(tiff, strip_.data(), static_cast<uint32_t>(line),
                                 static_cast<uint16_t>(channel)) >= 0
              : TIFFReadEncodedStrip(tiff, strip++, strip_.data(), static_cast<tmsize_t>(strip_.size())) >= 0;
      if (!is_read) give_up("cannot read");
      use(channel, line, std::min(step, picture_.height - line));
    }
  }
}

void TiffReader::read_all() {
  for_each_strip([](size_t, size_t, size_t) {});
}

void TiffReader::read_first() {
  if (TIFFReadEncodedStrip(static_cast<TIFF*>(tiff_), 0, strip_.data(),
                           static_cast<tmsize_t>(strip_.size())) < 0)
    give_up("cannot read");
}

bool TiffReader::is_same() {
  bool same = true;
  for_each_strip([&](size_t channel, size_t line, size_t rows) {
    for (size_t i = 0; i < rows; ++i) {
      const auto wanted = picture_.row(line + i, channel);
      same = same && std::equal(wanted.begin(), wanted.end(), strip_.data() + i * picture_.row_bytes());
    }
  });
  return same;
}

}  // namespace orb::bench
