// Pictures that the checks make.
#include "pictures.h"

#include <algorithm>
#include <cstring>

#include "../at_work.h"
#include "../image.h"
#include "../rows.h"
#include "../samples.h"

namespace orb::tool::plugin_check {
namespace {

constexpr ORB_WINDOW kWindow = {0, 12, 0, 6};
constexpr const char* kTypes[] = {"", "integers", "floats", "doubles"};

// Mixed well, so that no two rows or channels are alike, and reproducible.
uint32_t noise(uint32_t column, uint32_t row, uint32_t channel) {
  uint32_t value = column * 0x9E3779B9U + row * 0x85EBCA6BU + channel * 0xC2B2AE35U + 0x27D4EB2FU;
  value = (value ^ value >> 15) * 0x2C1B3C6DU;
  return value ^ value >> 13;
}

template <class Sample>
void put(std::string& row, Sample sample) {
  row.append(reinterpret_cast<const char*>(&sample), sizeof sample);
}

void put_sample(std::string& row, const Channel& channel, uint32_t value) {
  const uint32_t cut = channel.width >= 32 ? value : value & ((uint32_t{1} << channel.width) - 1);
  // Multiples of a power of two, which half floats hold, too.
  if (channel.type == ORB_C_FLOAT) return put(row, static_cast<float>(value % 2048) / 1024.0F);
  if (channel.type == ORB_C_DOUBLE) return put(row, static_cast<double>(value % 2048) / 1024.0);
  const size_t bytes = sample_bytes(channel);
  if (bytes == 1) return put(row, static_cast<uint8_t>(cut));
  if (bytes == 2) return put(row, static_cast<uint16_t>(cut));
  put(row, cut);
}

int32_t line_of(const ORB_IFD& ifd, int64_t i) {
  return static_cast<int32_t>(is_bottom_up(ifd) ? ifd.window.bottom + i : ifd.window.top - i);
}

ORB_LUT* make_lut(int32_t entries) {
  ORB_LUT* lut = ORB_lut_alloc(entries);
  for (int32_t i = 0; lut != nullptr && i < entries; ++i) {
    const auto part = static_cast<uint16_t>(i * 257 % 65536);
    lut->entries[i] = {{part, static_cast<uint16_t>(65535 - part), part, 65535}};
  }
  return lut;
}

ORB_IMAGE* open_for_writing(const Kit& kit, const Picture& picture, const std::string& file, ORB_LUT* lut) {
  std::string key = kit.format()->key;
  std::string name = file;
  ORB_IFD ifd = picture.ifd;
  ORB_INFO info;
  ORB_info_init(&info);
  info.key = key.data();
  info.handle = name.data();
  info.open_option = 1;
  info.images = &ifd;
  info.image_count = 1;
  info.write_option = reinterpret_cast<uintptr_t>(lut);
  note_file(Doing::writing, file, key);
  ORB_IMAGE* image = ORB_open(&info, "w");
  ORB_info_cleanup(&info, 0);
  return image;
}

// A row as its caller hands it over.
int32_t write_row(ORB_IMAGE* image, const Picture& picture, int32_t line, bool& is_touched) {
  const auto above_bottom = static_cast<size_t>(int64_t{line} - picture.ifd.window.bottom);
  std::vector<std::string> channels = picture.rows[above_bottom];
  std::vector<void*> rows;
  for (std::string& channel : channels) rows.push_back(channel.data());
  rows.push_back(nullptr);
  note_call(Doing::writing);
  const int32_t code = ORB_scan_write(image, line, rows.data());
  is_touched = is_touched || channels != picture.rows[above_bottom];
  return code;
}

}  // namespace

std::string text_of(const Shape& shape) {
  const struct {
    int32_t count;
    const char* name;
  } groups[] = {
      {shape.color, "colour"}, {shape.matte, "matte"}, {shape.aux, "auxiliary"}, {shape.index, "index"}};
  std::string text;
  for (const auto& group : groups) {
    if (group.count > 0)
      text += (text.empty() ? "" : " and ") + std::to_string(group.count) + " " + group.name;
  }
  return text + " of " + std::to_string(shape.width) + "-bit " + kTypes[shape.type];
}

Picture make_picture(const Shape& shape) {
  Picture picture;
  ORB_IFD& ifd = picture.ifd;
  ifd.image_kind = ifd.aspect_kind = 1;
  ifd.curve.kind = ORB_CURVE_GAMMA;
  ifd.curve.gamma = 2.2F;
  ifd.curve.channel_count = 1;
  ifd.curve.resolution = 256;
  ifd.curve.curve_type = ORB_C_INTEGER;
  ifd.curve.depth = 12;
  ifd.pixel_aspect = 1;
  ifd.window = ifd.active_window = kWindow;
  ifd.pair_a[0] = static_cast<int32_t>(width_of(kWindow));
  ifd.pair_a[1] = static_cast<int32_t>(height_of(kWindow));
  ifd.orientation = shape.is_bottom_up ? ORB_BOTTOM_UP : 0;
  ifd.color = {nullptr, shape.color, shape.type, shape.width};
  ifd.matte = {nullptr, shape.matte, shape.type, shape.width};
  ifd.aux = {nullptr, shape.aux, shape.type, shape.width};
  ifd.index = {nullptr, shape.index, ORB_C_INTEGER, shape.index > 0 ? shape.width : 16};
  if (shape.index > 0) ifd.color.width = ifd.matte.width = ifd.aux.width = 8;
  for (int64_t row = 0; row < height_of(kWindow); ++row) {
    std::vector<std::string>& channels = picture.rows.emplace_back();
    for (const Channel& channel : channels_of(ifd)) {
      std::string bytes;
      for (uint32_t column = 0; column < width_of(kWindow); ++column) {
        put_sample(bytes, channel,
                   noise(column, static_cast<uint32_t>(row), static_cast<uint32_t>(channels.size())));
      }
      channels.push_back(bytes);
    }
  }
  return picture;
}

Written write_picture(Kit& kit, const Picture& picture, const std::string& file) {
  Written written;
  kit.forget();
  ORB_LUT* const lut = picture.ifd.index.count > 0 && picture.ifd.color.count == 0
                           ? make_lut(1 << std::min(picture.ifd.index.width, 16))
                           : nullptr;
  ORB_IMAGE* const image = open_for_writing(kit, picture, file, lut);
  ORB_lut_free(lut);
  if (image == nullptr) {
    written.code = orb__err;
    return written;
  }
  written.is_open = true;
  written.is_lossy = (image->info.word_e & ORB_LOSSY_SAMPLES) != 0;
  const ORB_IFD stored = image->info.images[0];
  for (int64_t i = 0; i < height_of(picture.ifd.window) && written.code == 0; ++i) {
    ORB_IFD order = picture.ifd;
    order.orientation = stored.orientation;
    written.code = write_row(image, picture, line_of(order, i), written.is_touched);
  }
  note_call(Doing::writing);
  const int32_t closed = ORB_close(image);
  if (written.code == 0) written.code = closed;
  return written;
}

ORB_IMAGE* open_for_reading(const Kit& kit, const std::string& file) {
  std::string key = kit.format()->key;
  std::string name = file;
  ORB_INFO info;
  ORB_info_init(&info);
  info.key = key.data();
  info.handle = name.data();
  info.open_option = 1;
  note_file(Doing::reading, file, key);
  ORB_IMAGE* image = ORB_open(&info, "r");
  ORB_info_cleanup(&info, 0);
  return image;
}

int32_t take_row(ORB_IMAGE* image, int32_t line, std::vector<std::string>& channels_out) {
  constexpr int kOfTheCaller = 0xA5;
  const ORB_IFD& ifd = image->info.images[0];
  void** rows = nullptr;
  note_call(Doing::reading);
  const int32_t code = ORB_scan_read(image, line, &rows);
  if (code != 0) return code;
  for (const Channel& channel : channels_of(ifd)) {
    const size_t bytes = sample_bytes(channel) * static_cast<size_t>(width_of(ifd.window));
    if (rows == nullptr || *rows == nullptr) return ORB_E_READ;
    channels_out.emplace_back(static_cast<const char*>(*rows), bytes);
    std::memset(*rows++, kOfTheCaller, bytes);
  }
  return 0;
}

ReadBack read_picture(Kit& kit, const std::string& file) {
  ReadBack read;
  kit.forget();
  ORB_IMAGE* const image = open_for_reading(kit, file);
  if (image == nullptr) {
    read.code = orb__err;
    read.call = "open";
    return read;
  }
  if (image->info.image_count > 0) read.picture.ifd = image->info.images[0];
  const ORB_WINDOW& window = read.picture.ifd.window;
  read.picture.rows.resize(static_cast<size_t>(std::max<int64_t>(height_of(window), 0)));
  for (int64_t i = 0; i < height_of(window) && read.code == 0; ++i) {
    const int32_t line = line_of(read.picture.ifd, i);
    read.code = take_row(image, line, read.picture.rows[static_cast<size_t>(int64_t{line} - window.bottom)]);
    if (read.code != 0) read.call = "row " + std::to_string(line);
  }
  note_call(Doing::reading);
  const int32_t closed = ORB_close(image);
  if (read.code == 0 && closed != 0) {
    read.code = closed;
    read.call = "close";
  }
  return read;
}

std::string difference(const Picture& wanted, const Picture& found) {
  if (width_of(found.ifd.window) != width_of(wanted.ifd.window) || found.rows.size() != wanted.rows.size()) {
    return "the picture has another size";
  }
  for (size_t row = 0; row < wanted.rows.size(); ++row) {
    if (found.rows[row].size() != wanted.rows[row].size()) return "there are other channels";
    for (size_t channel = 0; channel < wanted.rows[row].size(); ++channel) {
      if (found.rows[row][channel].size() != wanted.rows[row][channel].size())
        return "samples have another type";
      if (found.rows[row][channel] != wanted.rows[row][channel]) {
        return "samples of channel " + std::to_string(channel) + " in row " + std::to_string(row) +
               " are others";
      }
    }
  }
  return "";
}

bool write_any_picture(Kit& kit, const std::string& file, Picture& picture_out) {
  for (const uint32_t type : {ORB_C_INTEGER, ORB_C_FLOAT}) {
    for (const int32_t width : {8, 16, 32, 1, 2, 4}) {
      for (const int32_t color : {1, 3, 4, 2, 0}) {
        picture_out =
            make_picture({.color = color, .index = color == 0 ? 1 : 0, .type = type, .width = width});
        if (write_picture(kit, picture_out, file).code == 0) return true;
      }
    }
  }
  return false;
}

}  // namespace orb::tool::plugin_check
