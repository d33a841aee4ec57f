#include "oracle.h"

#include <cstdlib>
#include <vector>

namespace orb::testing {

static int components_of(J_COLOR_SPACE space) {
  return space == JCS_GRAYSCALE ? 1 : space == JCS_CMYK || space == JCS_YCCK ? 4 : 3;
}

uint8_t smooth(int x, int y, int c) { return static_cast<uint8_t>(20 + 7 * x + 5 * y + 17 * c); }

std::string encode(J_COLOR_SPACE given, const Choose& choose, const Choose& mark, int width, int height) {
  jpeg_compress_struct cinfo = {};
  jpeg_error_mgr errors;
  cinfo.err = jpeg_std_error(&errors);
  jpeg_create_compress(&cinfo);
  unsigned char* out = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&cinfo, &out, &size);
  cinfo.image_width = static_cast<JDIMENSION>(width);
  cinfo.image_height = static_cast<JDIMENSION>(height);
  cinfo.in_color_space = given;
  cinfo.input_components = components_of(given);
  jpeg_set_defaults(&cinfo);
  if (choose) choose(&cinfo);
  jpeg_start_compress(&cinfo, TRUE);
  if (mark) mark(&cinfo);
  std::vector<uint8_t> row(static_cast<size_t>(width * cinfo.input_components));
  for (int y = 0; y < height; ++y) {
    for (size_t i = 0; i < row.size(); ++i) {
      const int at = static_cast<int>(i);
      row[i] = smooth(at / cinfo.input_components, y, at % cinfo.input_components);
    }
    JSAMPROW rows[] = {row.data()};
    jpeg_write_scanlines(&cinfo, rows, 1);
  }
  jpeg_finish_compress(&cinfo);
  jpeg_destroy_compress(&cinfo);
  std::string bytes(reinterpret_cast<char*>(out), size);
  std::free(out);
  return bytes;
}

Planes decode(const std::string& bytes, J_COLOR_SPACE space,
              const std::function<void(jpeg_decompress_struct&)>& look) {
  jpeg_decompress_struct cinfo = {};
  jpeg_error_mgr errors;
  cinfo.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&cinfo);
  jpeg_mem_src(&cinfo, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  jpeg_read_header(&cinfo, TRUE);
  look(cinfo);
  if (space != JCS_UNKNOWN) cinfo.out_color_space = space;
  jpeg_start_decompress(&cinfo);
  const auto channels = static_cast<size_t>(cinfo.output_components);
  Planes planes(channels);
  std::vector<uint8_t> row(cinfo.output_width * channels);
  while (cinfo.output_scanline < cinfo.output_height) {
    JSAMPROW rows[] = {row.data()};
    jpeg_read_scanlines(&cinfo, rows, 1);
    for (size_t i = 0; i < row.size(); ++i) planes[i % channels].push_back(row[i]);
  }
  jpeg_finish_decompress(&cinfo);
  jpeg_destroy_decompress(&cinfo);
  return planes;
}

size_t find_marker(const std::string& file, int code, size_t from) {
  const char marker[] = {'\xFF', static_cast<char>(code)};
  return file.find(std::string(marker, 2), from);
}

}  // namespace orb::testing
