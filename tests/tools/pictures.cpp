#include "pictures.h"

#include <png.h>

#include <cstdlib>
#include <cstring>
#include <random>

namespace orb::testing {
namespace {

// What codec library failures do in a test.
[[noreturn]] void give_up(png_structp, png_const_charp message) {
  std::fprintf(stderr, "the test's codec: %s\n", message);
  std::abort();
}
void pass_over(png_structp, png_const_charp) {}

std::FILE* open_or_abort(const std::string& path, const char* mode) {
  std::FILE* file = std::fopen(path.c_str(), mode);
  if (file == nullptr) std::abort();
  return file;
}

}  // namespace

Png read_png(const std::string& path) {
  std::FILE* file = open_or_abort(path, "rb");
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, give_up, pass_over);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_read_info(png, info);
  Png picture;
  picture.width = png_get_image_width(png, info);
  picture.height = png_get_image_height(png, info);
  picture.depth = png_get_bit_depth(png, info);
  picture.color_type = png_get_color_type(png, info);
  picture.rows.assign(picture.height, std::string(png_get_rowbytes(png, info), '\0'));
  for (std::string& row : picture.rows) png_read_row(png, reinterpret_cast<png_bytep>(row.data()), nullptr);
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  std::fclose(file);
  return picture;
}

void write_noise_png(const std::string& path, uint32_t width, uint32_t height, int depth, int color_type) {
  std::FILE* file = open_or_abort(path, "wb");
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, give_up, pass_over);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_IHDR(png, info, width, height, depth, color_type, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_BASE,
               PNG_FILTER_TYPE_BASE);
  png_write_info(png, info);
  std::minstd_rand noise(width * 31 + height);
  std::string row(png_get_rowbytes(png, info), '\0');
  for (uint32_t i = 0; i < height; ++i) {
    for (char& byte : row) byte = static_cast<char>(noise() >> 8);
    png_write_row(png, reinterpret_cast<png_const_bytep>(row.data()));
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
}

uint8_t ramp(int64_t column, int64_t row, int64_t channel) {
  return static_cast<uint8_t>(column + 3 * row + channel);
}

void PipeFile::write(const std::string& path) const {
  std::string file = path;
  std::string key = "pipe";
  std::string none = "unknown";
  ORB_IFD image = {};
  image.image_kind = 1;
  image.aspect_kind = 1;
  image.curve = {ORB_CURVE_GAMMA, 2.2F, 0, 1, 256, ORB_C_INTEGER, 12, nullptr};
  image.pixel_aspect = 1.0F;
  image.window = image.active_window = {0, width - 1, 0, height - 1};
  image.orientation = ORB_BOTTOM_UP;
  image.color = {nullptr, 3, ORB_C_INTEGER, 8};
  image.matte = image.aux = {nullptr, 0, ORB_C_INTEGER, 8};
  image.index = {nullptr, 0, ORB_C_INTEGER, 16};
  ORB_INFO info;
  ORB_info_init(&info);
  info.key = key.data();
  info.handle = file.data();
  info.text5 = info.text6 = info.text7 = none.data();
  info.word_e = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT |
                ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
  info.image_count = 1;
  info.images = &image;
  change(info, image);
  ORB_IMAGE* writer = ORB_open(&info, "w");
  if (writer == nullptr) std::abort();
  const ORB_WINDOW window = image.window;
  const int32_t columns = window.right - window.left + 1;
  const int32_t rows_count = window.top - window.bottom + 1;
  void** rows = ORB_chan_alloc(&image, columns, "test", nullptr);
  const int32_t channels = image.color.count + image.matte.count + image.aux.count + image.index.count;
  for (int32_t i = 0; i < rows_count; ++i) {
    const int32_t above_bottom = (image.orientation & ORB_BOTTOM_UP) != 0 ? i : rows_count - 1 - i;
    for (int32_t c = 0; c < channels; ++c) {
      if (fill) {
        fill(rows[c], above_bottom, c);
        continue;
      }
      // The first byte of each sample is enough for groups of more than 8 bits.
      const int32_t step = image.index.count > 0 ? 2 : 1;
      for (int32_t x = 0; x < columns; ++x)
        static_cast<uint8_t*>(rows[c])[x * step] = ramp(x, above_bottom, c);
    }
    if (ORB_scan_write(writer, window.bottom + above_bottom, rows) != 0) std::abort();
  }
  ORB_chan_free(rows);
  if (ORB_close(writer) != 0) std::abort();
  ORB_info_cleanup(&info, 0);
}

}  // namespace orb::testing
