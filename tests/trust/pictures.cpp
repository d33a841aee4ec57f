// The pictures of the scenarios, and the library with the real plug-ins.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>

#include "orbbase/core.h"
#include "orbbase/registry.h"
#include "tests/trust/scenarios.h"

namespace orb::testing {
namespace {

constexpr ORB_CHANNELS ORB_IFD::*kGroups[] = {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux,
                                              &ORB_IFD::index};

// The modules that the build names, as long as the process lives.
constexpr const char* kModules[] = {ORB_PLUGIN_FILES};
void* loaded[std::size(kModules)];
size_t next_module = 0;  // to hand over

int32_t give_module(void** module_out, const char** name_out) {
  if (next_module == std::size(kModules)) return 0;
  *module_out = loaded[next_module];
  *name_out = kModules[next_module++];
  return 1;
}

// A curve of one table, and names for three channels, lent to every picture.
ORB_RESPONSE_CURVE table_curve() {
  static uint8_t entries[256] = {1};
  static void* tables[] = {entries};
  return {ORB_CURVE_TABLE, 0, 0, 1, 256, ORB_C_INTEGER, 8, tables};
}
char channel_names[] = "R,G,B";

size_t width_of(const ORB_IFD& ifd) { return static_cast<size_t>(ifd.window.right - ifd.window.left + 1); }

// Bytes of a row of each channel.
std::vector<size_t> row_bytes(const ORB_IFD& ifd) {
  std::vector<size_t> bytes;
  for (const auto group : kGroups) {
    const bool is_index = group == &ORB_IFD::index;
    if (is_index && ifd.color.count > 0) break;
    bytes.insert(bytes.end(), static_cast<size_t>((ifd.*group).count),
                 width_of(ifd) * sample_bytes(ifd.*group, is_index));
  }
  return bytes;
}

std::vector<int32_t> lines_of(const ORB_IFD& ifd) {
  std::vector<int32_t> lines;
  for (int32_t i = 0; i <= ifd.window.top - ifd.window.bottom; ++i)
    lines.push_back((ifd.orientation & ORB_BOTTOM_UP) != 0 ? ifd.window.bottom + i : ifd.window.top - i);
  return lines;
}

// Samples that a format can store: floats are numbers, indices lie within the table.
void fill_row(const Picture& picture, const ORB_IFD& ifd, int32_t image, int32_t channel, int32_t line,
              std::vector<uint8_t>& row) {
  const bool is_real = ifd.color.type != ORB_C_INTEGER;
  for (size_t i = 0; i < row.size(); ++i) {
    row[i] = picture.sample_byte(image, channel, line, static_cast<int64_t>(i));
    if (is_real && i % 4 == 3) row[i] = 0x3E;
    if (ifd.color.count == 0 && ifd.index.count > 0) row[i] = i % 2 == 0 ? row[i] & 3 : 0;
  }
}

struct Freed {
  void operator()(ORB_LUT* lut) const { ORB_lut_free(lut); }
};

}  // namespace

void load_modules() {
  for (size_t i = 0; i < std::size(kModules); ++i) {
    if (!loaded[i]) loaded[i] = dlopen(kModules[i], RTLD_NOW | RTLD_LOCAL);
    if (!loaded[i]) std::abort();
  }
}

int32_t start_library() {
  next_module = 0;
  return ORB_init(nullptr, give_module) == 0 ? 0 : failure();
}

void end_library() {
  ORB_multiframe_set(0, 0);
  ORB_exit();
  for (int i = 0; i < 2; ++i) dlerror();  // whose last text the C library would keep
}

void put_file(const char* path, const std::string& bytes) {
  std::FILE* const file = std::fopen(path, "wb");
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
}

int32_t failure() { return orb__err != 0 ? orb__err : -999; }

std::vector<Picture> pictures_of(const std::string& key) {
  constexpr uint32_t kInt = ORB_C_INTEGER;
  constexpr uint32_t kFloat = ORB_C_FLOAT;
  const struct {
    const char* keys;  // who takes it
    const char* name;
    ORB_CHANNELS groups[4];  // colour, matte, auxiliary, index
    bool is_cut = false;     // an active window within the window
    int32_t images = 1;
  } kinds[] = {
      {" mem pipe rla png jpeg tiff pnm ", "bytes", {{{}, 3, kInt, 8}}},
      {" mem pipe rla rlb tiff png ", "matte", {{{}, 3, kInt, 8}, {{}, 1, kInt, 8}}},
      {" mem pipe rla tiff png pnm ", "words", {{{}, 3, kInt, 16}}},
      {" mem pipe rla ", "bits", {{{}, 3, kInt, 12}, {{}, 1, kInt, 12}}},
      {" mem pipe ", "longs", {{{}, 1, kInt, 32}}},
      {" mem pipe ", "doubles", {{{}, 1, ORB_C_DOUBLE, 64}}},
      {" mem pipe rla exr tiff ", "floats", {{{}, 3, kFloat, 32}}},
      {" mem pipe rla exr ", "depth", {{{}, 3, kFloat, 32}, {{}, 1, kFloat, 32}, {{}, 1, kFloat, 32}}},
      {" mem pipe rla ", "cut", {{{}, 3, kInt, 8}}, true},
      {" exr ", "cut", {{{}, 3, kFloat, 32}}, true},
      {" mem rla ", "images", {{{}, 3, kInt, 8}}, false, 3},
      {" mem pipe png tiff gif ", "index", {{}, {}, {}, {{}, 1, kInt, 8}}},
      {" png jpeg tiff pnm gif ", "grey", {{{}, 1, kInt, 8}}},
  };
  std::vector<Picture> pictures;
  for (const auto& kind : kinds) {
    if (!std::strstr(kind.keys, (" " + key + " ").c_str())) continue;
    Picture picture(kind.name + ("." + key), key.c_str());
    for (size_t i = 0; i < std::size(kGroups); ++i) {
      const ORB_CHANNELS& group = kind.groups[i];
      picture.group(kGroups[i], group.count, group.count > 0 ? group.type : kInt,
                    group.count > 0 ? group.width : 8);
    }
    if (kind.is_cut) picture.active({2, 5, 1, 3});
    if (kind.name == std::string("longs")) picture.ifds[0].curve = table_curve();
    if (kind.name == std::string("floats")) picture.ifds[0].color.name = channel_names;
    pictures.push_back(picture.images(kind.images));
  }
  return pictures;
}

ORB_IMAGE* open_picture(const std::string& name, const std::string& key, const char* mode,
                        uint8_t open_option, ORB_CAP_SETTING** settings) {
  ORB_INFO info;
  ORB_info_init(&info);
  info.key = const_cast<char*>(key.c_str());
  info.handle = const_cast<char*>(name.c_str());
  info.open_option = open_option;
  info.settings = settings;
  return ORB_open(&info, mode);
}

int32_t close_picture(ORB_IMAGE* handle, int32_t code) {
  const int32_t closed = ORB_close(handle);
  return code != 0 ? code : closed;
}

int32_t write_rows(ORB_IMAGE* handle, const Picture& picture, int32_t image) {
  const ORB_IFD& ifd = handle->info.images[image];
  std::vector<std::vector<uint8_t>> samples;
  std::vector<void*> rows;
  for (const size_t bytes : row_bytes(ifd)) samples.emplace_back(bytes);
  for (auto& row : samples) rows.push_back(row.data());
  for (const int32_t line : lines_of(ifd)) {
    for (size_t i = 0; i < samples.size(); ++i)
      fill_row(picture, ifd, image, static_cast<int32_t>(i), line, samples[i]);
    const int32_t code = image == 0 ? ORB_scan_write(handle, line, rows.data())
                                    : handle->scan(handle->driver[image].data, line, rows.data());
    if (code != 0) return code;
  }
  return 0;
}

int32_t write_picture(const Picture& picture, int32_t frames) {
  ORB_INFO info = picture.info();
  std::string date = "{0}";
  std::string title = "title";
  info.text7 = date.data();
  info.text1 = info.text3 = title.data();
  info.open_option = 1;
  info.frame_count = frames;
  std::unique_ptr<ORB_LUT, Freed> table;
  if (picture.ifds[0].color.count == 0) {
    table.reset(ORB_lut_alloc(4));
    if (!table) return failure();
    for (uint16_t i = 0; i < 4; ++i)
      table->entries[i] = {{static_cast<uint16_t>(i * 0x5555), 0xFFFF, 0, 0xFFFF}};
    info.write_option = reinterpret_cast<uintptr_t>(table.get());
  }
  ORB_IMAGE* const handle = ORB_open(&info, "w");
  if (!handle) return failure();
  int32_t code = 0;
  for (int32_t i = 0; i < info.image_count && code == 0; ++i) code = write_rows(handle, picture, i);
  for (int32_t frame = 2; frame <= frames && code == 0; ++frame) {
    code = ORB_set_frame(handle, frame, 0, 0);
    if (code == 0) code = write_rows(handle, picture, 0);
  }
  return close_picture(handle, code);
}

int32_t see_rows(ORB_IMAGE* handle, int32_t image, Seen& seen) {
  const ORB_IFD& ifd = handle->info.images[image];
  see(seen, ifd.window);
  const std::vector<size_t> bytes = row_bytes(ifd);
  for (const int32_t line : lines_of(ifd)) {
    void** rows = nullptr;
    const int32_t code = image == 0 ? ORB_scan_read(handle, line, &rows)
                                    : handle->scan(handle->driver[image].data, line, &rows);
    if (code != 0) return code;
    for (size_t i = 0; i < bytes.size(); ++i) seen.append(static_cast<const char*>(rows[i]), bytes[i]);
  }
  return 0;
}

int32_t see_picture(const std::string& name, const std::string& key, Seen& seen, ORB_CAP_SETTING** settings) {
  ORB_IMAGE* const handle = open_picture(name, key, "r", 1, settings);
  if (!handle) {
    for (ORB_CAP_SETTING** one = settings; one && *one; ++one) ERR_free(*one);
    ERR_free(settings);
    return failure();
  }
  see(seen, handle->info.image_count);
  int32_t code = 0;
  for (int32_t i = 0; i < handle->info.image_count && code == 0; ++i) code = see_rows(handle, i, seen);
  const ORB_IFD& first = handle->info.images[0];
  if (code == 0 && first.color.count == 0 && first.index.count > 0) {
    ORB_LUT* table = nullptr;
    code = ORB_lut_read(handle, &table) == 0 ? 0 : failure();
    if (table)
      seen.append(reinterpret_cast<const char*>(table->entries), sizeof(ORB_LUT_ENTRY) * table->entry_count);
    ORB_lut_free(table);
  }
  return close_picture(handle, code);
}

}  // namespace orb::testing
