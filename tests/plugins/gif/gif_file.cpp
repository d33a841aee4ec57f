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

Image open_gif(const std::string& path, Ask ask) {
  ORB_INFO info;
  ORB_info_init(&info);
  std::string key = "gif";
  std::string name = path;
  info.key = key.data();
  info.handle = name.data();
  ORB_CAP_SETTING palette = {0, {1}};
  ORB_CAP_SETTING* lent[] = {&palette, nullptr};
  if (ask == Ask::indices) info.settings = ORB_cap_setting_copy(lent);
  Image image(ORB_open(&info, "r"));
  if (!image && info.settings) {
    ERR_free(info.settings[0]);
    ERR_free(info.settings);
  }
  return image;
}

Image open_gif(const GifFile& file, Ask ask) {
  // Each under a name of its own: the file of the name before may still be open.
  static int count = 0;
  const std::string path = "in" + std::to_string(++count) + ".gif";
  save(path, file.bytes());
  return open_gif(path, ask);
}

std::string shown(ORB_IMAGE* image, const std::string& palette) {
  const ORB_IFD& ifd = image->info.images[0];
  std::string all;
  for (int32_t line = ifd.window.top; line >= 0; --line) {
    void** rows = nullptr;
    if (ORB_scan_read(image, line, &rows) != 0) return "";
    const auto sample = [rows](int channel, int32_t x) { return static_cast<const char*>(rows[channel])[x]; };
    for (int32_t x = 0; x <= ifd.window.right; ++x) {
      if (ifd.color.count == 0) {
        all += static_cast<char>('a' + static_cast<const uint16_t*>(rows[0])[x]);
      } else if (ifd.color.count == 1) {
        all += static_cast<char>('a' + sample(0, x));
      } else if (ifd.matte.count == 1 && sample(3, x) == 0) {
        all += '.';
      } else {
        size_t at = 0;
        while (at < palette.size() &&
               palette.substr(at, 3) != std::string{sample(0, x), sample(1, x), sample(2, x)})
          at += 3;
        all += at < palette.size() ? static_cast<char>('a' + at / 3) : '?';
      }
    }
    if (line > 0) all += '/';
  }
  return all;
}

}  // namespace orb::testing
