#include "oracle.h"

#include <zlib.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace orb::testing {
namespace {

[[noreturn]] void fail(png_structp, png_const_charp message) { throw std::runtime_error(message); }
void pass(png_structp, png_const_charp) {}

size_t row_bytes(const Stored& picture) {
  return (static_cast<size_t>(picture.width) * static_cast<size_t>(picture.channels() * picture.depth) + 7) /
         8;
}

// Samples into the file's order of bits: big-endian, the first sample in the highest bits.
Bytes pack_row(const Stored& picture, uint32_t row) {
  Bytes out(row_bytes(picture));
  size_t bit = 0;
  const size_t count = static_cast<size_t>(picture.width) * static_cast<size_t>(picture.channels());
  for (size_t i = 0; i < count; ++i) {
    for (int b = picture.depth - 1; b >= 0; --b, ++bit) {
      if ((picture.samples[row * count + i] >> b & 1) != 0)
        out[bit / 8] |= static_cast<uint8_t>(0x80 >> bit % 8);
    }
  }
  return out;
}

void unpack_row(const Bytes& in, Stored& picture) {
  size_t bit = 0;
  const size_t count = static_cast<size_t>(picture.width) * static_cast<size_t>(picture.channels());
  for (size_t i = 0; i < count; ++i) {
    unsigned sample = 0;
    for (int b = 0; b < picture.depth; ++b, ++bit) sample = sample << 1 | (in[bit / 8] >> (7 - bit % 8) & 1U);
    picture.samples.push_back(static_cast<uint16_t>(sample));
  }
}

void write_all(png_structp png, png_infop info, const Stored& picture, const Decorate& decorate) {
  png_set_IHDR(png, info, picture.width, picture.height, picture.depth, picture.color_type,
               picture.is_interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  if (decorate) decorate(png, info);
  if (picture.color_type == PNG_COLOR_TYPE_PALETTE && png_get_valid(png, info, PNG_INFO_PLTE) == 0) {
    png_color palette[256];
    for (int i = 0; i < 256; ++i) {
      palette[i] = {static_cast<png_byte>(i * 7), static_cast<png_byte>(255 - i),
                    static_cast<png_byte>(i / 2)};
    }
    png_set_PLTE(png, info, palette, 1 << picture.depth);
  }
  png_write_info(png, info);
  std::vector<Bytes> rows;
  std::vector<png_bytep> pointers;
  for (uint32_t row = 0; row < picture.height; ++row) rows.push_back(pack_row(picture, row));
  for (Bytes& row : rows) pointers.push_back(row.data());
  png_write_image(png, pointers.data());
  png_write_end(png, info);
}

// Releases the codec's structures also when an error is thrown.
struct Writing {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, pass);
  png_infop info = png_create_info_struct(png);
  ~Writing() { png_destroy_write_struct(&png, &info); }
};
struct Reading {
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, pass);
  png_infop info = png_create_info_struct(png);
  ~Reading() { png_destroy_read_struct(&png, &info, nullptr); }
};

struct Input {
  const Bytes* bytes;
  size_t at;
};

}  // namespace

int Stored::channels() const {
  if (color_type == PNG_COLOR_TYPE_PALETTE) return 1;
  return ((color_type & PNG_COLOR_MASK_COLOR) != 0 ? 3 : 1) +
         ((color_type & PNG_COLOR_MASK_ALPHA) != 0 ? 1 : 0);
}

Stored noise(uint32_t width, uint32_t height, int color_type, int depth, bool is_interlaced) {
  Stored picture{width, height, color_type, depth, is_interlaced, {}};
  uint32_t state = 12345;
  const size_t count = static_cast<size_t>(width) * height * static_cast<size_t>(picture.channels());
  for (size_t i = 0; i < count; ++i) {
    state = state * 1664525U + 1013904223U;
    picture.samples.push_back(static_cast<uint16_t>(state >> (32 - depth)));
  }
  return picture;
}

Bytes encode(const Stored& picture, const Decorate& decorate) {
  Bytes file;
  Writing codec;
  png_set_write_fn(
      codec.png, &file,
      [](png_structp p, png_bytep bytes, size_t count) {
        auto* out = static_cast<Bytes*>(png_get_io_ptr(p));
        out->insert(out->end(), bytes, bytes + count);
      },
      [](png_structp) {});
  write_all(codec.png, codec.info, picture, decorate);
  return file;
}

Stored decode(const Bytes& file, const Decorate& inspect) {
  Input input{&file, 0};
  Reading codec;
  png_structp png = codec.png;
  png_infop info = codec.info;
  png_set_read_fn(png, &input, [](png_structp p, png_bytep out, size_t count) {
    auto* in = static_cast<Input*>(png_get_io_ptr(p));
    if (count > in->bytes->size() - in->at) png_error(p, "cut");
    std::memcpy(out, in->bytes->data() + in->at, count);
    in->at += count;
  });
  png_read_info(png, info);
  Stored picture;
  int interlace = 0;
  png_get_IHDR(png, info, &picture.width, &picture.height, &picture.depth, &picture.color_type, &interlace,
               nullptr, nullptr);
  picture.is_interlaced = interlace != PNG_INTERLACE_NONE;
  std::vector<Bytes> rows(picture.height, Bytes(row_bytes(picture)));
  std::vector<png_bytep> pointers;
  for (Bytes& row : rows) pointers.push_back(row.data());
  png_read_image(png, pointers.data());
  png_read_end(png, info);
  for (const Bytes& row : rows) unpack_row(row, picture);
  if (inspect) inspect(png, info);
  return picture;
}

namespace {
void put32(Bytes& out, uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(value >> shift));
}
uint32_t get32(const Bytes& in, size_t at) {
  return static_cast<uint32_t>(in[at]) << 24 | static_cast<uint32_t>(in[at + 1]) << 16 |
         static_cast<uint32_t>(in[at + 2]) << 8 | in[at + 3];
}
}  // namespace

Bytes chunk(std::string_view name, std::string_view data) {
  Bytes out;
  put32(out, static_cast<uint32_t>(data.size()));
  out.insert(out.end(), name.begin(), name.end());
  out.insert(out.end(), data.begin(), data.end());
  put32(out, static_cast<uint32_t>(crc32(0, out.data() + 4, static_cast<uInt>(out.size() - 4))));
  return out;
}

size_t find_chunk(const Bytes& file, std::string_view name, size_t from) {
  for (size_t at = from; at + 12 <= file.size(); at += 12 + get32(file, at)) {
    if (std::memcmp(file.data() + at + 4, name.data(), 4) == 0) return at;
  }
  return file.size();
}

Bytes insert_at(Bytes file, size_t offset, const Bytes& what) {
  file.insert(file.begin() + static_cast<std::ptrdiff_t>(offset), what.begin(), what.end());
  return file;
}

Bytes header_only(uint32_t width, uint32_t height, uint8_t depth, uint8_t color_type, uint8_t interlace) {
  Bytes data;
  put32(data, width);
  put32(data, height);
  data.insert(data.end(), {depth, color_type, 0, 0, interlace});
  Bytes file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  const Bytes header = chunk("IHDR", {reinterpret_cast<const char*>(data.data()), data.size()});
  const Bytes start_of_data = chunk("IDAT", "");
  file.insert(file.end(), header.begin(), header.end());
  file.insert(file.end(), start_of_data.begin(), start_of_data.end());
  return file;
}

Bytes load(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

void save(const std::string& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace orb::testing
