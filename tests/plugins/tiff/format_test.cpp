// What a TIFF can and cannot be, for the tests of all formats, and how its own damage is told.
#include <gmock/gmock.h>

#include <array>

#include "oracle.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;
using namespace std::string_literals;

std::string file_of(const std::vector<Stored>& pages) {
  save_tiff("made.tif", pages);
  return load("made.tif");
}

std::vector<Example> examples() {
  std::vector<Example> all;
  for (const uint16_t compression : {uint16_t{COMPRESSION_NONE}, uint16_t{COMPRESSION_LZW}}) {
    const Stored page = {.width = 9, .height = 7, .compression = compression, .decorate = [](TIFF* tiff) {
                           TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, "some words");
                         }};
    all.push_back({file_of({page, page})});
  }
  const auto palette = [](TIFF* tiff) {
    std::vector<uint16_t> map(256);
    TIFFSetField(tiff, TIFFTAG_COLORMAP, map.data(), map.data(), map.data());
  };
  all.push_back(
      {file_of({{.width = 9, .height = 7, .photometric = PHOTOMETRIC_PALETTE, .decorate = palette}})});
  return all;
}

// A little-endian file with one directory of entries (tag, type, count, value), at offset 8; next: the offset
// of the one behind it.
std::string directory(const std::vector<std::array<uint32_t, 4>>& entries, uint32_t next) {
  std::string file = "II*\0\x8\0\0\0"s;
  const auto add = [&file](uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) file += static_cast<char>(value >> 8 * i);
  };
  add(static_cast<uint32_t>(entries.size()), 2);
  for (const auto& [tag, type, count, value] : entries) {
    add(tag, 2);
    add(type, 2);
    add(count, 4);
    add(value, 4);
  }
  add(next, 4);
  return file + std::string(256, '\0');
}

std::string strip(uint32_t width, uint32_t height, uint32_t compression, uint32_t next) {
  return directory({{256, 4, 1, width},
                    {257, 4, 1, height},
                    {258, 3, 1, 8},
                    {259, 3, 1, compression},
                    {262, 3, 1, 1},
                    {273, 4, 1, 8},
                    {277, 3, 1, 1},
                    {278, 4, 1, height},
                    {279, 4, 1, 200}},
                   next);
}

std::string tiles(uint32_t side) {
  return directory({{256, 4, 1, 10},
                    {257, 4, 1, 10},
                    {258, 3, 1, 8},
                    {259, 3, 1, 5},
                    {262, 3, 1, 1},
                    {277, 3, 1, 1},
                    {322, 4, 1, side},
                    {323, 4, 1, side},
                    {324, 4, 1, 8},
                    {325, 4, 1, 200}},
                   0);
}

std::vector<Damaged> damaged() {
  constexpr uint32_t kHuge = 0x7FFFFFFF;
  return {{"", ORB_E_FORMAT, "the file is empty"},
          {"II*", ORB_E_FORMAT, "the file is shorter than a TIFF header"},
          {"GIF89a", ORB_E_FORMAT, "it begins with other bytes"},
          {strip(kHuge, kHuge, 1, 0), 0, ""},
          {strip(kHuge, kHuge, 5, 0), 0, ""},
          {strip(1, kHuge, 1, 0), 0, ""},
          {strip(1, 0xFFFFFFFF, 1, 0), 0, ""},  // more rows than a window has
          {strip(0, 0, 1, 0), 0, ""},
          {tiles(0x80000000), 0, ""},
          {tiles(60000), 0, ""},
          {strip(4, 4, 1, 8), 0, ""},      // a directory behind itself
          {strip(4, 4, 1, 60000), 0, ""},  // behind the end
          {"II*\0\0\0\0\0"s, 0, ""},
          {"MM\0*\0\0\0\x8\xFF\xFF"s, 0, ""}};  // many entries
}

std::vector<Limited> limited() {
  const std::string file =
      file_of({{.width = 1000, .height = 1000, .compression = COMPRESSION_LZW, .tile = 512}, {}, {}});
  return {{file, ORB_LIMIT_BUFFER, 2 * 512 * 512 + 8},
          {file, ORB_LIMIT_HANDLE, 2 * 512 * 512 + 8 + 8000},
          {file, ORB_LIMIT_IMAGES, 3}};
}

std::vector<Layout> layouts() {
  std::vector<Layout> all;
  for (int32_t compression = 0; compression <= 4; ++compression) {
    for (const auto& [c, m, a] : {std::array{1, 0, 0}, {3, 0, 0}, {3, 1, 0}, {4, 1, 2}, {1, 1, 5}}) {
      all.push_back({c, m, a, 1, 32, ORB_C_INTEGER, {{2, compression}}});
      all.push_back({c, m, a, 32, 32, ORB_C_FLOAT, {{2, compression}}});
      all.push_back({c, m, a, 64, 64, ORB_C_DOUBLE, {{2, compression}}});
    }
  }
  return all;
}

const Format kTiff = {
    .key = "tiff",
    .modules = {TIFF_MODULE},
    .traits = kKeepsDescription | kKeepsTexts | kKeepsGamma | kKeepsPrimaries | kKeepsAspect | kKeepsRate |
              kKeepsFrame | kKeepsField | kKeepsPlace | kSettlesDates | kHasImages,
    .signature_bytes = 4,
    .cut_codes = {ORB_E_FORMAT, ORB_E_READ, ORB_E_DECODE},
    .examples = examples,
    .damaged = damaged,
    .limited = limited,
    .layouts = layouts(),
    .index_bits = {1, 4, 8, 11},
    .refusals = {
        {"tiff cannot handle the requested action", [](Wanted& w) { w.color(2, 8); }},
        {"tiff cannot handle the requested action", [](Wanted& w) { w.matte(2, 32); }},
        {"tiff cannot handle the requested action", [](Wanted& w) { w.set(2, 5); }},
        {"tiff cannot handle the requested action", [](Wanted& w) { w.set(2, 2).set(3, 3); }},
        {"tiff cannot handle the requested action", [](Wanted& w) { w.set(2, 3).set(3, 10); }},
        {"tiff cannot handle image channel width", [](Wanted& w) { w.color(1, 33); }},
        {"tiff cannot handle matte channel width", [](Wanted& w) { w.matte(1, 1); }},
        {"tiff cannot handle auxiliary channel type", [](Wanted& w) { w.aux(1, 32, ORB_C_FLOAT); }},
        {"lookup table", [](Wanted& w) { w.index(8, nullptr); }},
        {"tiff cannot handle image channel type",
         [](Wanted& w) { w.more.push_back(Wanted("", "", 1, 1).color(1, 8, 9).ifd); }},
    }};
ORB_TEST_CONFORMANCE(kTiff);

TEST_F(TiffTest, a_damaged_strip_leaves_the_others_readable) {
  save_tiff("in.tif", {{.compression = COMPRESSION_LZW}});
  uint64_t end = 0;
  inspect("in.tif",
          [&end](TIFF* tiff) { end = TIFFGetStrileOffset(tiff, 2) + TIFFGetStrileByteCount(tiff, 2); });
  save("in.tif", load("in.tif").replace(end - 30, 20, 20, '\xFF'));
  const Image image = open_read("tiff", "in.tif");
  ASSERT_TRUE(image);
  for (int32_t line = 20; line >= 0; --line) {
    const bool is_bad = !read_row(*image, line);
    // Of the third strip the first row is before the damage, the last behind it.
    const bool is_in_strip = line <= 12 && line >= 9;
    EXPECT_TRUE(is_bad == (line == 9) || (is_in_strip && line != 12)) << line;
  }
  EXPECT_THAT(reports.texts(), HasSubstr("in.tif: scanline "));
}

}  // namespace
}  // namespace orb::testing
