// What a PNG can and cannot be, for the tests of all formats, and how its own damage is told.
#include <gmock/gmock.h>

#include "oracle.h"
#include "tests/plugins/common/conformance.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using namespace std::string_literals;

std::string grey() { return encode(noise_picture(9, 7, PNG_COLOR_TYPE_GRAY, 8)); }

std::vector<Example> examples() {
  const auto with_text = [](png_structp png, png_infop info) {
    add_text(png, info, PNG_TEXT_COMPRESSION_zTXt, "Title", std::string(3000, 'x'));
  };
  return {{encode(noise_picture(9, 7, PNG_COLOR_TYPE_RGB, 16), with_text), true},
          {encode(noise_picture(9, 7, PNG_COLOR_TYPE_GRAY_ALPHA, 8)), true},
          {encode(noise_picture(9, 7, PNG_COLOR_TYPE_PALETTE, 4, true), with_text)}};
}

// The signature and a header chunk, nothing else.
std::string header(uint32_t width, uint32_t height, int depth, int color_type, int interlace) {
  std::string data;
  for (const uint32_t side : {width, height}) {
    for (int shift = 24; shift >= 0; shift -= 8) data += static_cast<char>(side >> shift);
  }
  for (const int value : {depth, color_type, 0, 0, interlace}) data += static_cast<char>(value);
  return "\x89PNG\r\n\x1A\n" + chunk("IHDR", data) + chunk("IDAT", "");
}

// A byte before the end of the file, or before a chunk, is another one.
std::string with_wrong(std::string file, size_t before) {
  file[file.size() - before] ^= 1;
  return file;
}

std::vector<Damaged> damaged() {
  const auto bomb = [](png_structp png, png_infop info) {
    for (int i = 0; i < 20; ++i)
      add_text(png, info, PNG_TEXT_COMPRESSION_zTXt, "Comment", std::string(7900000, 'x'));
  };
  return {{"", ORB_E_FORMAT, "This does not appear to be a PNG file; the file is empty"},
          {"\x89PN", ORB_E_FORMAT, "the file is shorter than a PNG signature"},
          {"GIF89a\0\0\0"s, ORB_E_FORMAT, "it begins with other bytes"},
          {"\x89PNG\n\x1A\n\0\0"s, ORB_E_FORMAT, "it begins with other bytes"},
          {header(0x80000000, 0x80000000, 8, 6, 0), ORB_E_DECODE, ""},
          {header(0x7FFFFFFF, 0x7FFFFFFF, 16, 6, 0), ORB_E_MEMORY, ""},
          {header(0x7FFFFFFF, 0x7FFFFFFF, 1, 0, 0), ORB_E_MEMORY, ""},
          {header(0x7FFFFFFF, 1, 8, 3, 1), ORB_E_DECODE, ""},  // no palette
          {header(60000, 60000, 8, 0, 1), ORB_E_MEMORY, ""},
          {header(0, 5, 8, 0, 0), ORB_E_DECODE, ""},
          {with_wrong(grey(), 13), ORB_E_DECODE, "IDAT: CRC error"},
          {insert_before(grey(), "IDAT", chunk("ABCD", "x")), ORB_E_DECODE, ""},
          {encode(noise_picture(2, 2, PNG_COLOR_TYPE_GRAY, 8), bomb), ORB_E_MEMORY,
           "the data beside the picture: over the limit of 64 MiB of memory"}};
}

std::vector<Limited> limited() {
  const std::string plain = encode(noise_picture(1000, 4, PNG_COLOR_TYPE_RGB, 16));
  return {{plain, ORB_LIMIT_BUFFER, 6000},
          {plain, ORB_LIMIT_HANDLE, 24000},
          {encode(noise_picture(100, 100, PNG_COLOR_TYPE_RGB, 8, true)), ORB_LIMIT_HANDLE, 100 * 308 + 1200}};
}

const Format kPng = {
    .key = "png",
    .modules = {PNG_MODULE},
    .traits = kKeepsDescription | kKeepsTexts | kKeepsGamma | kKeepsPrimaries | kKeepsAspect | kKeepsRate |
              kKeepsFrame | kKeepsField | kKeepsPlace | kReadsPipes | kHasCheckSums | kHasBareEntries,
    .signature_bytes = 8,
    .cut_codes = {ORB_E_READ},
    .examples = examples,
    .damaged = damaged,
    .limited = limited,
    .layouts = {{1, 0, 0, 1, 16}, {3, 0, 0, 1, 16}, {1, 1, 0, 1, 16}, {3, 1, 0, 1, 16}},
    .index_bits = {1, 2, 4, 8},
    .refusals = {
        {"png cannot handle the requested action", [](Wanted& w) { w.color(2, 8); }},
        {"png cannot handle the requested action", [](Wanted& w) { w.matte(2, 16); }},
        {"png cannot handle the requested action",
         [](Wanted& w) {
           w.window({0, 0, INT32_MIN, INT32_MIN});
         }},
        {"png cannot handle the requested action",
         [](Wanted& w) {
           w.window({INT32_MIN, INT32_MIN, 0, 0});
         }},
        {"png cannot handle the requested action", [](Wanted& w) { w.more.push_back(w.ifd); }},
        {"png cannot handle the requested action", [](Wanted& w) { w.set(0, 2); }},
        {"png cannot handle the requested action", [](Wanted& w) { w.set(2, 10); }},
        {"png cannot handle the requested action", [](Wanted& w) { w.set(3, -1); }},
        {"png cannot handle auxiliary channel type", [](Wanted& w) { w.aux(1, 16); }},
        {"png cannot handle image channel type", [](Wanted& w) { w.color(1, 32, ORB_C_FLOAT); }},
        {"png cannot handle image channel width", [](Wanted& w) { w.color(1, 17); }},
        {"png cannot handle matte channel type", [](Wanted& w) { w.matte(1, 8, ORB_C_FLOAT); }},
        {"png cannot handle matte channel width", [](Wanted& w) { w.matte(1, 7); }},
        {"color index channel width", [](Wanted& w) { w.index(3, nullptr); }},
        {"color index channel type", [](Wanted& w) { w.index(8, nullptr, ORB_C_FLOAT); }},
        {"colour indices need a lookup table", [](Wanted& w) { w.index(2, nullptr); }},
    }};
ORB_TEST_CONFORMANCE(kPng);

TEST_F(PngTest, a_wrong_check_sum_of_a_text_is_a_warning) {
  save("in", insert_before(grey(), "IDAT", with_wrong(chunk("tEXt", "Title\0x"s), 1)));
  EXPECT_EQ(read_whole("png", "in"), 0);
  ASSERT_EQ(reports.reports.size(), 1U);
  EXPECT_EQ(reports.reports[0].category, ERR_WARNING);
  EXPECT_EQ(reports.texts(), "in: tEXt: CRC error");
}

TEST_F(PngTest, a_flood_of_remarks_ends) {
  std::string flood;
  for (int i = 0; i < 500; ++i) flood += chunk("abCd", "");
  save("in", insert_before(grey(), "IDAT", flood));
  EXPECT_EQ(read_whole("png", "in"), 0);
  EXPECT_EQ(reports.reports.size(), 65U);
  EXPECT_THAT(reports.texts(), EndsWith("there is more of this; it is not listed"));
}

TEST_F(PngTest, a_failed_reader_stays_failed_and_says_it_once) {
  const std::string bytes = encode(noise_picture(50, 50, PNG_COLOR_TYPE_GRAY, 8));
  save("in", bytes.substr(0, bytes.size() / 2));
  const Image image = open_read("png", "in");
  ASSERT_TRUE(image);
  EXPECT_TRUE(read_all(*image).empty());
  for (int32_t line = 49; line >= 0; --line) EXPECT_FALSE(read_row(*image, line));
  EXPECT_EQ(orb__err, ORB_E_READ);
  EXPECT_EQ(reports.reports.size(), 1U);
}

TEST_F(PngTest, an_index_beyond_the_palette_is_damage) {
  Stored stored = noise_picture(13, 5, PNG_COLOR_TYPE_PALETTE, 1);
  stored.depth = 2;
  stored.planes[0][13 * 2] = 3;
  save("in", encode(stored, [](png_structp png, png_infop info) {
         const png_color palette[3] = {};
         png_set_PLTE(png, info, palette, 3);
         png_set_check_for_invalid_index(png, 0);
       }));
  const Image image = open_read("png", "in", {{0, 1}});
  ASSERT_TRUE(image);
  EXPECT_TRUE(read_all(*image).empty());
  EXPECT_EQ(orb__err, ORB_E_DECODE);
  EXPECT_EQ(reports.texts(), "Cannot decode scanline 2");
}

// The compressor asks for all of its blocks before it looks whether it got them.
TEST_F(PngTest, memory_that_stays_away_is_reported_once) {
  bool is_done = false;
  int nth = 1;
  for (; !is_done; ++nth) {
    reports.clear();
    Image image = Wanted("png", "out", 13, 5).color(1, 8).open();
    {
      const FailAllocation fail(nth, FailAllocation::Mode::from_there_on);
      static_cast<void>(write_all(std::move(image), noise(1, 8, 65)));
      is_done = !fail.happened();
    }
    const std::string said = reports.texts();
    EXPECT_EQ(said.find("No more internal memory") == said.rfind("No more internal memory"), true) << nth;
    EXPECT_EQ(said.empty(), is_done) << nth << said;
  }
  EXPECT_GT(nth, 5) << "the codec library's own allocations are among them";
}

}  // namespace
}  // namespace orb::testing
