#include "gif_file.h"

#include <algorithm>
#include <cstdint>

namespace orb::testing {
namespace {

std::string half(int value) { return {static_cast<char>(value & 255), static_cast<char>(value >> 8)}; }

int bits_of(const std::string& palette) {
  int bits = 1;
  while ((3U << bits) < palette.size()) ++bits;
  return bits;
}

// A letter a code, all of one width: the table is cleared before it would grow out of that.
std::string coded(const std::string& letters, int bits) {
  const int code_bits = std::max(2, bits);
  const uint32_t clear = 1U << code_bits;
  std::vector<uint32_t> codes;
  for (size_t i = 0; i < letters.size(); ++i) {
    if (i % (clear - 2) == 0) codes.push_back(clear);
    codes.push_back(static_cast<uint32_t>(letters[i] - 'a'));
  }
  codes.push_back(clear + 1);
  std::string packed;
  uint32_t held = 0;
  int held_bits = 0;
  for (const uint32_t code : codes) {
    held |= code << held_bits;
    for (held_bits += code_bits + 1; held_bits >= 8; held_bits -= 8, held >>= 8)
      packed += static_cast<char>(held);
  }
  packed += static_cast<char>(held);
  std::string blocks(1, static_cast<char>(code_bits));
  for (size_t at = 0; at < packed.size(); at += 255) {
    const std::string part = packed.substr(at, 255);
    blocks += static_cast<char>(part.size()) + part;
  }
  return blocks + '\0';
}

std::vector<std::string> rows_of(const std::string& picture) {
  std::vector<std::string> rows(1);
  for (const char c : picture) {
    if (c == '/') {
      rows.emplace_back();
    } else {
      rows.back() += c;
    }
  }
  return rows;
}

std::vector<std::string> interlaced(const std::vector<std::string>& rows) {
  const struct { size_t first, step; } passes[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
  std::vector<std::string> order;
  for (const auto& pass : passes) {
    for (size_t y = pass.first; y < rows.size(); y += pass.step) order.push_back(rows[y]);
  }
  return order;
}

std::string frame_bytes(const DrawnFrame& frame, const std::string& palette) {
  const std::string& colours = frame.palette.empty() ? palette : frame.palette;
  std::vector<std::string> rows = rows_of(frame.picture);
  const auto width = static_cast<int>(rows[0].size());
  const auto height = static_cast<int>(rows.size());
  const int flags =
      (frame.palette.empty() ? 0 : 0x80 | (bits_of(colours) - 1)) | (frame.is_interlaced ? 0x40 : 0);
  if (frame.is_interlaced) rows = interlaced(rows);
  std::string letters;
  for (const std::string& row : rows) letters += row;
  std::string bytes = "\x21\xF9\x04";
  bytes += static_cast<char>(frame.disposal << 2 | (frame.transparent ? 1 : 0));
  bytes += half(frame.delay);
  bytes += static_cast<char>(frame.transparent ? frame.transparent - 'a' : 0);
  bytes += '\0';
  bytes += "," + half(frame.left) + half(frame.top) + half(width) + half(height) + static_cast<char>(flags);
  return bytes + frame.palette + coded(letters, bits_of(colours));
}

}  // namespace

std::string GifFile::bytes() const {
  std::string all = "GIF89a" + half(width) + half(height);
  all += palette.empty() ? '\0' : static_cast<char>(0x80 | (bits_of(palette) - 1));
  all += '\0';
  all += static_cast<char>(aspect);
  all += palette + extensions;
  for (const DrawnFrame& frame : frames) all += frame_bytes(frame, palette);
  return all + ';';
}

std::string comment(const std::string& text) {
  return "\x21\xFE" + std::string(1, static_cast<char>(text.size())) + text + '\0';
}

std::string repeats(int count) { return "\x21\xFF\x0BNETSCAPE2.0\x03\x01" + half(count) + '\0'; }

Image open_gif(const GifFile& file, const Settings& settings) {
  save("in.gif", file.bytes());
  return open_read("gif", "in.gif", settings);
}

std::string shown(ORB_IMAGE* image, const std::string& palette) {
  const ORB_IFD& ifd = image->info.images[0];
  const Planes planes = read_all(*image);
  std::string all;
  for (size_t i = 0; !planes.empty() && i < planes[0].size(); ++i) {
    if (i > 0 && i % static_cast<size_t>(ifd.window.right + 1) == 0) all += '/';
    if (ifd.color.count < 3) {
      all += static_cast<char>('a' + planes[0][i]);
    } else if (ifd.matte.count == 1 && planes[3][i] == 0) {
      all += '.';
    } else {
      std::string colour;
      for (size_t c = 0; c < 3; ++c) colour += static_cast<char>(planes[c][i]);
      size_t at = 0;
      while (at < palette.size() && palette.substr(at, 3) != colour) at += 3;
      all += at < palette.size() ? static_cast<char>('a' + at / 3) : '?';
    }
  }
  return all;
}

}  // namespace orb::testing
