#include "bench/tiff_peer.h"

#include <cstring>

#include "bench/give_up.h"

namespace orb::bench {
namespace {

struct MemoryFile {
  std::vector<uint8_t>& bytes;
  size_t size;  // of the file: the vector never shrinks, so that its memory is used again
  size_t position = 0;
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

TIFF* required(TIFF* tiff) {
  if (!tiff) give_up("libtiff cannot open");
  return tiff;
}

}  // namespace

TIFF* open_tiff(std::vector<uint8_t>& file, const char* mode) {
  auto* memory = new MemoryFile{file, *mode == 'r' ? file.size() : 0};
  return required(TIFFClientOpen("memory", mode, memory, read_memory, write_memory, seek_memory, close_memory,
                                 size_of_memory, map_memory, unmap_memory));
}

TIFF* open_tiff(const std::string& path, const char* mode) { return required(TIFFOpen(path.c_str(), mode)); }

TiffWriter::TiffWriter(const Picture& picture, uint16_t compression)
    : picture_(picture), compression_(compression) {
  for (size_t channel = 0; channel < picture.channels(); ++channel) {
    for (size_t line = 0; line < picture.height; ++line) {
      const auto row = picture.row(line, channel);
      planes_.insert(planes_.end(), row.begin(), row.end());
    }
  }
}

void TiffWriter::set_fields(TIFF* tiff, const TiffMode& mode) const {
  const bool is_float = picture_.depth == Depth::floats;
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(picture_.width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(picture_.height));
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, static_cast<int>(picture_.channels()));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, static_cast<int>(8 * sample_bytes(picture_.depth)));
  TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, is_float ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(mode.rows_per_strip));
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression_);
  const std::vector<uint16_t> more(picture_.channels() - 3, EXTRASAMPLE_UNSPECIFIED);
  if (!more.empty()) TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<int>(more.size()), more.data());
}

void TiffWriter::write(TIFF* tiff, const TiffMode& mode) const {
  set_fields(tiff, mode);
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
      if (!is_written) give_up("libtiff cannot write");
      rows += bytes;
    }
  }
  TIFFClose(tiff);
}

TiffReader::TiffReader(TIFF* tiff, const Picture& picture, const TiffMode& mode)
    : tiff_(tiff), picture_(picture), mode_(mode), strip_(mode.rows_per_strip * picture.row_bytes()) {}

template <class Use>
void TiffReader::for_each_strip(Use use) {
  uint32_t strip = 0;
  const size_t step = mode_.by_scanline ? 1 : mode_.rows_per_strip;
  for (size_t channel = 0; channel < picture_.channels(); ++channel) {
    for (size_t line = 0; line < picture_.height; line += step) {
      const bool is_read = mode_.by_scanline
                               ? TIFFReadScanline(tiff_, strip_.data(), static_cast<uint32_t>(line),
                                                  static_cast<uint16_t>(channel)) >= 0
                               : TIFFReadEncodedStrip(tiff_, strip++, strip_.data(),
                                                      static_cast<tmsize_t>(strip_.size())) >= 0;
      if (!is_read) give_up("libtiff cannot read");
      use(channel, line, std::min(step, picture_.height - line));
    }
  }
}

void TiffReader::read_all() {
  for_each_strip([](size_t, size_t, size_t) {});
}

void TiffReader::read_first() {
  if (TIFFReadEncodedStrip(tiff_, 0, strip_.data(), static_cast<tmsize_t>(strip_.size())) < 0) {
    give_up("libtiff cannot read");
  }
}

void TiffReader::require_same() {
  for_each_strip([&](size_t channel, size_t line, size_t rows) {
    for (size_t i = 0; i < rows; ++i) {
      const auto wanted = picture_.row(line + i, channel);
      if (!std::equal(wanted.begin(), wanted.end(), strip_.data() + i * picture_.row_bytes())) {
        give_up("libtiff holds another picture");
      }
    }
  });
}

}  // namespace orb::bench
