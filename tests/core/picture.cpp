#include "tests/core/picture.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <sstream>

namespace orb::testing {
namespace {

constexpr ORB_CHANNELS ORB_IFD::*kGroups[] = {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux,
                                              &ORB_IFD::index};

ORB_IFD plain_ifd() {
  ORB_IFD ifd = {};
  ifd.image_kind = 1;
  ifd.curve = {ORB_CURVE_GAMMA, 2.2f, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
  ifd.pixel_aspect = 1.0f;
  ifd.aspect_kind = 1;
  ifd.orientation = ORB_BOTTOM_UP;
  ifd.color = {nullptr, 3, ORB_C_INTEGER, 8};
  ifd.matte = {nullptr, 0, ORB_C_INTEGER, 8};
  ifd.aux = {nullptr, 0, ORB_C_INTEGER, 8};
  ifd.index = {nullptr, 0, ORB_C_INTEGER, 16};
  ifd.window = ifd.active_window = {0, 6, 0, 4};
  return ifd;
}

int32_t pixels_of(const ORB_IFD& ifd) { return ifd.window.right - ifd.window.left + 1; }

// Calls visit(channel, sample bytes) for every channel that has a row.
template <class Visit>
void for_each_channel(const ORB_IFD& ifd, Visit visit) {
  int32_t channel = 0;
  for (auto group : kGroups) {
    const bool is_index = group == &ORB_IFD::index;
    if (is_index && ifd.color.count > 0) break;
    for (int32_t i = 0; i < (ifd.*group).count; ++i) visit(channel++, sample_bytes(ifd.*group, is_index));
  }
}

void* data_of(ORB_IMAGE* handle, int32_t image) { return handle->driver[image].data; }

// Lines of the window in the order of the handle's own description.
std::vector<int32_t> lines_in_order(const ORB_IFD& ifd) {
  std::vector<int32_t> lines;
  for (int32_t line = ifd.window.bottom; line <= ifd.window.top; ++line) lines.push_back(line);
  if (!(ifd.orientation & ORB_BOTTOM_UP)) std::reverse(lines.begin(), lines.end());
  return lines;
}

}  // namespace

Picture::Picture(std::string file_name, const char* format_key)
    : name(std::move(file_name)), key(format_key ? format_key : ""), ifds(1, plain_ifd()) {}

Picture& Picture::window(ORB_WINDOW window) {
  for (ORB_IFD& ifd : ifds) ifd.window = ifd.active_window = window;
  return *this;
}
Picture& Picture::active(ORB_WINDOW window) {
  for (ORB_IFD& ifd : ifds) ifd.active_window = window;
  return *this;
}
Picture& Picture::top_down() {
  for (ORB_IFD& ifd : ifds) ifd.orientation = 0;
  return *this;
}
Picture& Picture::no_channels() {
  for (ORB_IFD& ifd : ifds) ifd.color.count = 0;
  return *this;
}
Picture& Picture::group(ORB_CHANNELS ORB_IFD::*group, int32_t count, uint32_t type, int32_t width) {
  for (ORB_IFD& ifd : ifds) ifd.*group = {nullptr, count, type, width};
  return *this;
}
Picture& Picture::seed(uint8_t value) {
  seed_value = value;
  return *this;
}
Picture& Picture::images(int32_t count) {
  while (static_cast<int32_t>(ifds.size()) < count) {
    ORB_IFD smaller = ifds.back();
    smaller.image_kind = 2;
    --smaller.window.right;
    --smaller.window.top;
    smaller.active_window = smaller.window;
    ifds.push_back(smaller);
  }
  return *this;
}

ORB_INFO Picture::info() const {
  ORB_INFO info;
  ORB_info_init(&info);
  info.key = key.empty() ? nullptr : const_cast<char*>(key.c_str());
  info.handle = const_cast<char*>(name.c_str());
  info.image_count = static_cast<int32_t>(ifds.size());
  info.images = const_cast<ORB_IFD*>(ifds.data());
  return info;
}

ORB_IMAGE* Picture::open(const char* mode) const {
  ORB_INFO wanted = info();
  return ORB_open(&wanted, mode);
}

uint8_t Picture::sample_byte(int32_t image, int32_t channel, int32_t line, int64_t byte_in_row) const {
  uint32_t h = seed_value + 7u * static_cast<uint32_t>(image) + 31u * static_cast<uint32_t>(channel) +
               101u * static_cast<uint32_t>(line) + 131u * static_cast<uint32_t>(byte_in_row);
  h = (h ^ (h >> 3)) * 2654435761u;
  return static_cast<uint8_t>((h >> 24) | 1);  // never 0: what is lost shows
}

size_t sample_bytes(const ORB_CHANNELS& group, bool is_index) {
  if (is_index) return 2;
  if (group.type == ORB_C_FLOAT) return 4;
  if (group.type == ORB_C_DOUBLE) return 8;
  return group.width <= 8 ? 1 : group.width <= 16 ? 2 : 4;
}

void** filled_rows(const Picture& picture, int32_t image, int32_t line) {
  ORB_IFD ifd = picture.ifds[static_cast<size_t>(image)];
  void** rows = ORB_chan_alloc(&ifd, pixels_of(ifd), "test", nullptr);
  for_each_channel(ifd, [&](int32_t channel, size_t bytes) {
    for (int64_t i = 0; i < pixels_of(ifd) * static_cast<int64_t>(bytes); ++i) {
      static_cast<uint8_t*>(rows[channel])[i] = picture.sample_byte(image, channel, line, i);
    }
  });
  return rows;
}

int32_t write_line(ORB_IMAGE* handle, const Picture& picture, int32_t line, int32_t image) {
  void** rows = filled_rows(picture, image, line);
  const int32_t code =
      image == 0 ? ORB_scan_write(handle, line, rows) : handle->scan(data_of(handle, image), line, rows);
  ORB_chan_free(rows);
  return code;
}

int32_t write_whole(const Picture& picture) {
  ORB_IMAGE* handle = picture.open("w");
  if (!handle) return orb__err;
  int32_t code = 0;
  for (int32_t image = 0; image < handle->info.image_count; ++image) {
    for (int32_t line : lines_in_order(handle->info.images[image])) {
      if (code == 0) code = write_line(handle, picture, line, image);
    }
  }
  const int32_t close_code = ORB_close(handle);
  return code != 0 ? code : close_code;
}

std::string compare_line(ORB_IMAGE* handle, const Picture& picture, int32_t line, int32_t image) {
  const std::string where = "image " + std::to_string(image) + " line " + std::to_string(line);
  void** rows = nullptr;
  const int32_t code =
      image == 0 ? ORB_scan_read(handle, line, &rows) : handle->scan(data_of(handle, image), line, &rows);
  if (code != 0) return where + ": code " + std::to_string(code);
  const ORB_IFD& ifd = picture.ifds[static_cast<size_t>(image)];
  const ORB_WINDOW& active = ifd.active_window;
  std::string difference;
  for_each_channel(ifd, [&](int32_t channel, size_t bytes) {
    for (int64_t i = 0; i < pixels_of(ifd) * static_cast<int64_t>(bytes) && difference.empty(); ++i) {
      const int64_t column = ifd.window.left + i / static_cast<int64_t>(bytes);
      const bool is_active =
          line >= active.bottom && line <= active.top && column >= active.left && column <= active.right;
      const int wanted = is_active ? picture.sample_byte(image, channel, line, i) : 0;
      const int found = static_cast<uint8_t*>(rows[channel])[i];
      if (wanted != found) {
        difference = where + " channel " + std::to_string(channel) + " byte " + std::to_string(i) + ": " +
                     std::to_string(found) + " for " + std::to_string(wanted);
      }
      // What an operator may do with the rows; the next read must not show it.
      static_cast<uint8_t*>(rows[channel])[i] = 0xee;
    }
  });
  return difference;
}

std::string compare_whole(const Picture& picture) {
  ORB_IMAGE* handle = picture.open("r");
  if (!handle) return "cannot open: code " + std::to_string(orb__err);
  const ORB_INFO info = picture.info();
  std::string difference;
  if (handle->info.image_count != info.image_count) difference = "number of images";
  for (int32_t image = 0; image < info.image_count && difference.empty(); ++image) {
    const ORB_IFD& found = handle->info.images[image];
    const ORB_IFD& wanted = info.images[image];
    if (std::memcmp(&found.window, &wanted.window, 2 * sizeof(ORB_WINDOW)) != 0) difference = "windows";
    if (found.orientation != wanted.orientation) difference = "orientation";
    for (auto group : kGroups) {
      if ((found.*group).count != (wanted.*group).count || (found.*group).type != (wanted.*group).type ||
          (found.*group).width != (wanted.*group).width) {
        difference = "channel groups";
      }
    }
    for (int32_t line : lines_in_order(found)) {
      if (difference.empty()) difference = compare_line(handle, picture, line, image);
    }
  }
  if (ORB_close(handle) != 0 && difference.empty()) difference = "close";
  return difference;
}

std::string described(const ORB_INFO& info) {
  std::ostringstream out;
  out.precision(7);
  const auto text = [&](const char* value) { out << (value ? '"' + std::string(value) + '"' : "-") << ' '; };
  for (const char* value : {info.text1, info.text3, info.text4, info.text5, info.text6, info.text7,
                            info.text8, info.text9, info.text10}) {
    text(value);
  }
  for (const int64_t number : {info.job_number, info.frame_number, info.field_value, info.field_mode,
                               info.words[0], info.words[1], info.int_d}) {
    out << number << ' ';
  }
  out << info.word_e << ' ' << info.word_f << ' ' << info.frame_rate;
  for (const float number : info.chromaticity) out << ' ' << number;
  for (const ORB_IFD& ifd : std::span(info.images, static_cast<size_t>(info.image_count))) {
    out << '\n';
    text(ifd.name);
    out << ifd.image_kind << ' ' << ifd.pair_a[0] << ' ' << ifd.pair_a[1] << ' ' << ifd.pixel_aspect << ' '
        << ifd.aspect_kind << ' ' << ifd.orientation << " curve " << ifd.curve.kind << ' ' << ifd.curve.gamma
        << ' ' << ifd.curve.depth;
    if (ifd.curve.kind == ORB_CURVE_TABLE)
      out << ' ' << ifd.curve.channel_count << ' ' << ifd.curve.resolution;
    for (const ORB_WINDOW& window : {ifd.window, ifd.active_window}) {
      out << ' ' << window.left << ' ' << window.right << ' ' << window.bottom << ' ' << window.top;
    }
    for (auto group : kGroups) {
      out << ' ' << (ifd.*group).count << ' ';
      text((ifd.*group).name);
      if ((ifd.*group).count > 0) out << (ifd.*group).type << ' ' << (ifd.*group).width;
    }
  }
  return out.str();
}

std::vector<Picture> every_kind_of_picture(const std::string& file_name) {
  constexpr struct {
    uint32_t type;
    int32_t width;
  } kSamples[] = {{ORB_C_INTEGER, 0},  {ORB_C_INTEGER, 1},  {ORB_C_INTEGER, 8},  {ORB_C_INTEGER, 9},
                  {ORB_C_INTEGER, 16}, {ORB_C_INTEGER, 17}, {ORB_C_INTEGER, 32}, {ORB_C_FLOAT, 32},
                  {ORB_C_FLOAT, 16},   {ORB_C_DOUBLE, 64}};
  constexpr ORB_WINDOW kWindows[][2] = {
      {{0, 6, 0, 4}, {0, 6, 0, 4}},     {{-3, 5, -2, 3}, {-1, 2, -1, 1}},  // padded on every side
      {{7, 7, 9, 9}, {7, 7, 9, 9}},                                        // one pixel
      {{-4, -1, 1, 3}, {-1, -1, 3, 3}},                                    // one active pixel, in the corner
      {{0, 4, 0, 2}, {0, 2, 0, 2}},                                        // padded on the right only
  };
  std::vector<Picture> pictures;
  for (const auto& windows : kWindows) {
    for (bool is_top_down : {false, true}) {
      Picture base(file_name);
      base.window(windows[0]).active(windows[1]);
      if (is_top_down) base.top_down();
      for (const auto& sample : kSamples) {
        for (auto group : {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux}) {
          pictures.push_back(Picture(base).no_channels().group(group, 2, sample.type, sample.width));
        }
      }
      for (int32_t bits : {1, 8, 16}) {
        pictures.push_back(Picture(base).no_channels().group(&ORB_IFD::index, 1, ORB_C_INTEGER, bits));
      }
      pictures.push_back(Picture(base)
                             .group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 12)
                             .group(&ORB_IFD::aux, 2, ORB_C_FLOAT, 32));
      pictures.push_back(Picture(base)
                             .no_channels()
                             .group(&ORB_IFD::matte, 1, ORB_C_DOUBLE, 64)
                             .group(&ORB_IFD::index, 2, ORB_C_INTEGER, 8));
      pictures.push_back(Picture(base).no_channels());
    }
  }
  return pictures;
}

}  // namespace orb::testing
