#include "tests/formats/rla/rla_file.h"

#include <algorithm>

namespace orb::testing {
namespace {

void put16(Bytes& bytes, size_t offset, int value) {
  bytes[offset] = static_cast<uint8_t>(value >> 8);
  bytes[offset + 1] = static_cast<uint8_t>(value);
}

void append(Bytes& to, const Bytes& bytes) { to.insert(to.end(), bytes.begin(), bytes.end()); }

}  // namespace

RlaFile::RlaFile() {
  images_.push_back({Bytes(740)});
  window(4, 3)
      .color(3, 0, 8)
      .matte(0, 0, 8)
      .aux(0, 0, 8)
      .int16(26, 0xFFFE)
      .text(28, " 2.2000")
      .text(572, "1.000");
}

RlaFile& RlaFile::int16(size_t offset, int value) {
  put16(images_.back().header, offset, value);
  return *this;
}

RlaFile& RlaFile::window(int width, int height) {
  int16(2, width - 1).int16(6, height - 1);
  return active(0, width - 1, 0, height - 1);
}

RlaFile& RlaFile::active(int left, int right, int bottom, int top) {
  return int16(8, left).int16(10, right).int16(12, bottom).int16(14, top);
}

RlaFile& RlaFile::group(size_t count_at, size_t type_at, size_t bits_at, int count, int type, int bits) {
  return int16(count_at, count).int16(type_at, type).int16(bits_at, bits);
}

RlaFile& RlaFile::older() {
  for (size_t i = 626; i < 740; ++i) images_.back().header[i] = 0;
  return int16(26, 0);
}

RlaFile& RlaFile::text(size_t offset, const std::string& text) {
  std::copy(text.begin(), text.end(), images_.back().header.begin() + static_cast<std::ptrdiff_t>(offset));
  return *this;
}

RlaFile& RlaFile::next() {
  images_.push_back(RlaFile().images_[0]);
  return *this;
}

int RlaFile::get16(const Bytes& header, size_t offset) { return header[offset] << 8 | header[offset + 1]; }

uint8_t RlaFile::ramp(size_t image, int channel, int row, int column, int byte) {
  return static_cast<uint8_t>(1 + 50 * image + 31 * channel + 17 * row + 5 * column + 97 * byte);
}

Bytes RlaFile::rows_of(const Image& image, size_t index, size_t position) {
  const Bytes& h = image.header;
  const bool is_older = get16(h, 26) != 0xFFFE;
  const struct {
    int count, type, bits;
  } groups[] = {{get16(h, 20), get16(h, 18), get16(h, 658)},
                {get16(h, 22), get16(h, 660), get16(h, 662)},
                {get16(h, 24), get16(h, 664), static_cast<int16_t>(get16(h, 666))}};
  Bytes table;
  Bytes data;
  const int rows = get16(h, 14) - get16(h, 12) + 1;
  for (int row = get16(h, 12); row <= get16(h, 14); ++row) {
    append(table, word(static_cast<uint32_t>(position + 740 + 4 * rows + data.size())));
    int channel = 0;
    for (const auto& group : groups) {
      const int type = is_older ? 0 : group.type;
      const int bits = is_older ? 8 : group.bits;
      const int planes = type == 4 ? 4 : type == 5 ? 8 : bits <= 8 ? 1 : bits <= 16 ? 2 : 4;
      for (int i = 0; i < group.count; ++i, ++channel) {
        Bytes block(2);
        const int left = get16(h, 8);
        const int right = get16(h, 10);
        if (type >= 4) {
          for (int x = left; x <= right; ++x) {
            for (int b = 0; b < planes; ++b) block.push_back(ramp(index, channel, row, x, b));
          }
        } else {
          for (int b = 0; b < planes; ++b) {
            for (int x = left; x <= right; ++x) append(block, {0xFF, ramp(index, channel, row, x, b)});
          }
        }
        put16(block, 0, static_cast<int>(block.size() - 2));
        append(data, block);
      }
    }
  }
  append(table, data);
  return table;
}

size_t RlaFile::position_of(size_t image) const {
  size_t position = 0;
  for (size_t i = 0; i < image; ++i) position += 740 + rows_of(images_[i], i, 0).size();
  return position;
}

Bytes RlaFile::bytes() const {
  Bytes file;
  for (size_t i = 0; i < images_.size(); ++i) {
    const size_t position = file.size();
    append(file, images_[i].header);
    append(file, rows_of(images_[i], i, position));
    if (i + 1 < images_.size())
      file = with_bytes(file, position + 736, word(static_cast<uint32_t>(file.size())));
  }
  return file;
}

Bytes with_bytes(Bytes file, size_t offset, const Bytes& bytes) {
  std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(offset));
  return file;
}

Bytes cut_at(const Bytes& file, size_t size) {
  return {file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)};
}

Bytes word(uint32_t value) {
  return {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
          static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

}  // namespace orb::testing
