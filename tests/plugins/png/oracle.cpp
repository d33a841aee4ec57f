#include "oracle.h"

#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace orb::testing {
namespace {

int channels_of(int color_type) {
  if (color_type == PNG_COLOR_TYPE_PALETTE) return 1;
  return ((color_type & PNG_COLOR_MASK_COLOR) != 0 ? 3 : 1) +
         ((color_type & PNG_COLOR_MASK_ALPHA) != 0 ? 1 : 0);
}

// A row as the codec takes it unpacked: bytes, or big-endian words.
std::string row_of(const Stored& picture, uint32_t y) {
  std::string row;
  for (size_t i = size_t{y} * picture.width; i < size_t{y + 1} * picture.width; ++i) {
    for (const auto& plane : picture.planes) {
      if (picture.depth == 16) row += static_cast<char>(plane[i] >> 8);
      row += static_cast<char>(plane[i]);
    }
  }
  return row;
}

void set_palette(png_structp png, png_infop info, int depth) {
  png_color palette[256];
  for (int i = 0; i < 256; ++i) {
    palette[i] = {static_cast<png_byte>(i * 7), static_cast<png_byte>(255 - i), static_cast<png_byte>(i / 2)};
  }
  png_set_PLTE(png, info, palette, 1 << depth);
}

}  // namespace

Stored noise_picture(uint32_t width, uint32_t height, int color_type, int depth, bool is_interlaced) {
  return {width, height,        color_type,
          depth, is_interlaced, noise(channels_of(color_type), depth, size_t{width} * height)};
}

std::string encode(const Stored& picture, const Decorate& decorate) {
  char* bytes = nullptr;
  size_t size = 0;
  std::FILE* const file = open_memstream(&bytes, &size);
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_IHDR(png, info, picture.width, picture.height, picture.depth, picture.color_type,
               picture.is_interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  if (decorate) decorate(png, info);
  if (picture.color_type == PNG_COLOR_TYPE_PALETTE && png_get_valid(png, info, PNG_INFO_PLTE) == 0)
    set_palette(png, info, picture.depth);
  std::vector<std::string> rows;
  std::vector<png_bytep> pointers;
  for (uint32_t y = 0; y < picture.height; ++y) rows.push_back(row_of(picture, y));
  for (std::string& row : rows) pointers.push_back(reinterpret_cast<png_bytep>(row.data()));
  png_set_rows(png, info, pointers.data());
  png_write_png(png, info, PNG_TRANSFORM_PACKING, nullptr);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
  std::string all(bytes, size);
  std::free(bytes);
  return all;
}

Stored decode(std::string bytes, const Decorate& inspect) {
  std::FILE* const file = fmemopen(bytes.data(), bytes.size(), "rb");
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_read_png(png, info, PNG_TRANSFORM_PACKING, nullptr);
  Stored picture;
  picture.width = png_get_image_width(png, info);
  picture.height = png_get_image_height(png, info);
  picture.color_type = png_get_color_type(png, info);
  picture.depth = bytes[24];  // the codec tells that of the unpacked samples
  picture.planes.resize(static_cast<size_t>(channels_of(picture.color_type)));
  for (uint32_t y = 0; y < picture.height; ++y) {
    const png_byte* at = png_get_rows(png, info)[y];
    for (uint32_t i = 0; i < picture.width; ++i) {
      for (auto& plane : picture.planes) {
        plane.push_back(*at++);
        if (picture.depth == 16) plane.back() = plane.back() << 8 | *at++;
      }
    }
  }
  if (inspect) inspect(png, info);
  png_destroy_read_struct(&png, &info, nullptr);
  std::fclose(file);
  return picture;
}

void add_text(png_structp png, png_infop info, int compression, std::string key, std::string value,
              std::string language) {
  png_text text = {};
  char empty[] = "";
  text.compression = compression;
  text.key = key.data();
  text.text = value.data();
  text.lang = language.data();
  text.lang_key = empty;
  png_set_text(png, info, &text, 1);
}

std::string chunk(std::string_view name, std::string_view data) {
  std::string all(name);
  all += data;
  const auto put = [](uint64_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
    return bytes;
  };
  const auto sum = crc32(0, reinterpret_cast<const Bytef*>(all.data()), static_cast<uInt>(all.size()));
  return put(data.size()) + all + put(sum);
}

std::string insert_before(std::string file, std::string_view name, const std::string& what) {
  return file.insert(file.find(name) - 4, what);
}

}  // namespace orb::testing
