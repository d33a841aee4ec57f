// Pictures that the codec library wrote, read through the plug-in.
#include <gmock/gmock.h>

#include <fstream>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "library.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int kPaletteSetting = 0;

struct ColourType {
  int color_type;
  std::vector<int> depths;
};
const ColourType kColourTypes[] = {{PNG_COLOR_TYPE_GRAY, {1, 2, 4, 8, 16}},
                                   {PNG_COLOR_TYPE_GRAY_ALPHA, {8, 16}},
                                   {PNG_COLOR_TYPE_RGB, {8, 16}},
                                   {PNG_COLOR_TYPE_RGB_ALPHA, {8, 16}}};

TEST_F(PngTest, reads_every_colour_type_depth_and_interlace_as_stored) {
  for (const ColourType& row : kColourTypes) {
    for (const int depth : row.depths) {
      for (const bool is_interlaced : {false, true}) {
        for (const uint32_t width : {1U, 7U, 33U}) {
          SCOPED_TRACE(::testing::Message() << row.color_type << " depth " << depth << " width " << width);
          const Stored stored = noise(width, 9, row.color_type, depth, is_interlaced);
          const Image image = open_read(file(encode(stored)));
          ASSERT_TRUE(image) << reports.texts();
          const ORB_IFD& ifd = image->info.images[0];
          EXPECT_EQ(ifd.color.count, (row.color_type & PNG_COLOR_MASK_COLOR) != 0 ? 3 : 1);
          EXPECT_EQ(ifd.matte.count, (row.color_type & PNG_COLOR_MASK_ALPHA) != 0 ? 1 : 0);
          EXPECT_EQ(ifd.color.width, depth);
          EXPECT_EQ(ifd.orientation & ORB_BOTTOM_UP, 0U);
          Planes planes;
          ASSERT_TRUE(read_all(*image, &planes)) << reports.texts();
          EXPECT_EQ(planes, planes_of(stored));
        }
      }
    }
  }
}

TEST_F(PngTest, an_interlaced_picture_gives_any_line_and_says_that_it_is_held) {
  const Stored stored = noise(11, 13, PNG_COLOR_TYPE_RGB, 8, true);
  const std::string name = file(encode(stored));
  Image image = open_read(name);
  ASSERT_TRUE(image);
  EXPECT_EQ(reports.reports.size(), 1U);
  EXPECT_EQ(reports.reports.front().category, ERR_INFORMATION);
  EXPECT_THAT(reports.texts(), HasSubstr(name + ": interlaced"));
  ORB_IMAGE* handle = image.release();
  for (const int32_t line : {0, 12, 5, 5}) {
    EXPECT_EQ(ORB_seek(&handle, line), 0);
    void** rows = nullptr;
    ASSERT_EQ(ORB_scan_read(handle, line, &rows), 0);
    EXPECT_EQ(static_cast<uint8_t*>(rows[1])[10], stored.at(10, static_cast<uint32_t>(12 - line), 1));
    static_cast<uint8_t*>(rows[1])[10] ^=
        0xFF;  // an operator changes samples in place; the next read is whole again
  }
  void** rows = nullptr;
  EXPECT_EQ(reports.reports.size(), 1U) << "opened again: " << reports.texts();
  EXPECT_EQ(ORB_scan_read(handle, 13, &rows), ORB_E_SCANLINE);
  EXPECT_EQ(ORB_close(handle), 0);
}

TEST_F(PngTest, a_sequential_picture_refuses_other_lines_and_seek_opens_it_again) {
  const Stored stored = noise(5, 6, PNG_COLOR_TYPE_GRAY, 8);
  Image image = open_read(file(encode(stored)));
  ASSERT_TRUE(image);
  void** rows = nullptr;
  EXPECT_EQ(ORB_scan_read(image.get(), 3, &rows), ORB_E_SCANLINE);
  EXPECT_EQ(orb__err, ORB_E_SCANLINE);
  EXPECT_EQ(reports.texts(), "Bad scanline: 3 (out of range, or not in sequence if a sequential file)");
  for (const int32_t line : {5, 4, 3}) EXPECT_EQ(ORB_scan_read(image.get(), line, &rows), 0);
  ORB_IMAGE* handle = image.release();
  EXPECT_EQ(ORB_seek(&handle, 4), 0);
  ASSERT_EQ(ORB_scan_read(handle, 4, &rows), 0);
  EXPECT_EQ(static_cast<uint8_t*>(rows[0])[2], stored.at(2, 1, 0));
  EXPECT_EQ(ORB_close(handle), 0);
}

TEST_F(PngTest, a_palette_arrives_as_colours_or_as_indices_with_their_table) {
  for (const int depth : {1, 2, 4, 8}) {
    for (const bool is_interlaced : {false, true}) {
      SCOPED_TRACE(depth);
      const Stored stored = noise(19, 5, PNG_COLOR_TYPE_PALETTE, depth, is_interlaced);
      png_byte alphas[2] = {0, 128};
      const std::string name = file(encode(stored, [&alphas](png_structp png, png_infop info) {
        png_set_tRNS(png, info, alphas, 2, nullptr);
      }));
      const Image colours = open_read(name);
      ASSERT_TRUE(colours);
      EXPECT_EQ(colours->info.images[0].color.width, 8);
      Planes planes;
      ASSERT_TRUE(read_all(*colours, &planes));
      ASSERT_EQ(planes.size(), 4U);
      const Setting as_indices(kPaletteSetting, 1);
      const Image indices = open_read(name, &as_indices);
      ASSERT_TRUE(indices);
      EXPECT_EQ(indices->info.images[0].color.count, 0);
      EXPECT_EQ(indices->info.images[0].index.width, depth);
      ORB_LUT* lut = nullptr;
      ASSERT_EQ(ORB_lut_read(indices.get(), &lut), 0);
      ASSERT_TRUE(lut);
      EXPECT_EQ(lut->entry_count, 1 << depth);
      Planes index_planes;
      ASSERT_TRUE(read_all(*indices, &index_planes));
      EXPECT_EQ(index_planes, planes_of(stored));
      for (size_t i = 0; i < planes[0].size(); ++i) {
        const int index = stored.samples[i];
        EXPECT_EQ(planes[0][i], index * 7 % 256);
        EXPECT_EQ(planes[1][i], 255 - index);
        EXPECT_EQ(planes[3][i], index < 2 ? alphas[index] : 255);
        for (int c = 0; c < 4; ++c) EXPECT_EQ(lut->entries[index].rgba[c], planes[c][i] * 257);
      }
      ORB_lut_free(lut);
    }
  }
}

TEST_F(PngTest, a_transparent_colour_becomes_a_matte_of_the_colours_width) {
  const struct {
    int color_type;
    int depth;
  } rows[] = {{PNG_COLOR_TYPE_GRAY, 1}, {PNG_COLOR_TYPE_GRAY, 2},  {PNG_COLOR_TYPE_GRAY, 4},
              {PNG_COLOR_TYPE_GRAY, 8}, {PNG_COLOR_TYPE_GRAY, 16}, {PNG_COLOR_TYPE_RGB, 8},
              {PNG_COLOR_TYPE_RGB, 16}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.color_type << " depth " << row.depth);
    Stored stored = noise(16, 4, row.color_type, row.depth);
    const auto channels = static_cast<size_t>(stored.channels());
    // The fourth pixel is the key; the fifth differs from it in the last channel only.
    for (size_t c = 0; c < channels; ++c) stored.samples[4 * channels + c] = stored.samples[3 * channels + c];
    stored.samples[4 * channels + channels - 1] ^= 1;
    png_color_16 key = {};
    const uint16_t* at = &stored.samples[3 * channels];
    key.gray = key.red = at[0];
    if (channels == 3) key.green = at[1], key.blue = at[2];
    const Image image = open_read(file(encode(
        stored, [&key](png_structp png, png_infop info) { png_set_tRNS(png, info, nullptr, 0, &key); })));
    ASSERT_TRUE(image) << reports.texts();
    EXPECT_EQ(image->info.images[0].matte.width, row.depth);
    Planes planes;
    ASSERT_TRUE(read_all(*image, &planes));
    ASSERT_EQ(planes.size(), channels + 1);
    for (size_t i = 0; i < planes[0].size(); ++i) {
      const bool is_key = std::equal(at, at + channels, &stored.samples[i * channels]);
      EXPECT_EQ(planes[channels][i], is_key ? 0 : (1 << row.depth) - 1) << i;
    }
    EXPECT_EQ(planes[channels][3], 0);
    EXPECT_NE(planes[channels][4], 0);
  }
}

TEST_F(PngTest, photographs_read_as_the_codec_library_reads_them) {
  for (const char* name : {"chelsea.png", "coffee.png"}) {
    const std::string photograph = std::string(SAMPLES_FOLDER) + "/" + name;
    const Image image = open_read(photograph);
    ASSERT_TRUE(image) << reports.texts();
    Planes planes;
    ASSERT_TRUE(read_all(*image, &planes));
    EXPECT_EQ(planes, planes_of(decode(load(photograph)))) << name;
  }
}

TEST_F(PngTest, a_name_without_the_ending_finds_the_file_and_the_handle_says_so) {
  const std::string name = file(encode(noise(3, 3, PNG_COLOR_TYPE_GRAY, 8)), "frame.png");
  const Image image = open_read(path("frame"));
  ASSERT_TRUE(image) << reports.texts();
  EXPECT_EQ(image->info.handle, name);
}

TEST_F(PngTest, reads_a_fifo) {
  const Stored stored = noise(40, 30, PNG_COLOR_TYPE_RGB, 8);
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  std::thread writer([this, &stored] { save(path("fifo"), encode(stored)); });
  Planes planes;
  if (const Image image = open_read(path("fifo"))) read_all(*image, &planes);
  writer.join();
  EXPECT_EQ(planes, planes_of(stored));
}

TEST_F(PngTest, reads_the_standard_input_and_leaves_it_open) {
  const Stored stored = noise(5, 4, PNG_COLOR_TYPE_RGB, 8);
  const int kept = dup(STDIN_FILENO);
  ASSERT_TRUE(std::freopen(file(encode(stored)).c_str(), "rb", stdin));
  Planes planes;
  {
    const Image image = open_read("/dev/stdin");
    ASSERT_TRUE(image) << reports.texts();
    EXPECT_TRUE(read_all(*image, &planes));
  }
  EXPECT_EQ(planes, planes_of(stored));
  EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1);
  dup2(kept, STDIN_FILENO);
  close(kept);
}

TEST_F(PngTest, is_file_looks_at_regular_files_only_and_from_the_start) {
  const ORB_FORMAT* format = ORB_find("png");
  const std::string good = file(encode(noise(3, 3, PNG_COLOR_TYPE_GRAY, 8)));
  const std::string foreign = file({'G', 'I', 'F', '8', '9', 'a', 0, 0, 0, 0}, "foreign");
  const std::string empty = file({}, "empty");
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  const struct {
    std::string name;
    bool is_png;
  } rows[] = {{good, true},          {foreign, false},  {empty, false},
              {path("none"), false}, {path(""), false}, {path("fifo"), false}};
  for (const auto& row : rows)
    EXPECT_EQ(format->is_file(row.name.c_str(), nullptr), row.is_png ? 1 : 0) << row.name;
  EXPECT_EQ(format->is_file(nullptr, nullptr), 0);
  std::FILE* stream = std::fopen(good.c_str(), "rb");
  std::fseek(stream, 5, SEEK_SET);
  EXPECT_EQ(format->is_file("", stream), 1);
  std::fclose(stream);
  EXPECT_THAT(reports.texts(), IsEmpty());
}

TEST_F(PngTest, settings_are_checked) {
  const std::string name = file(encode(noise(3, 3, PNG_COLOR_TYPE_GRAY, 8)));
  const struct {
    uint16_t code;
    int32_t value;
    bool opens;
    const char* report;
  } rows[] = {
      {0, 2, false, "png cannot handle the requested action"},
      {2, 10, false, "png cannot handle the requested action"},
      {3, -1, false, "png cannot handle the requested action"},
      {2, 9, true, ""},
      {65535, 0, true, ""},
      {77, 0, true, "Unknown type-specific capability code (77) specified when trying to open image file"}};
  for (const auto& row : rows) {
    reports.clear();
    const Setting setting(row.code, row.value);
    EXPECT_EQ(open_read(name, &setting) != nullptr, row.opens) << row.code;
    EXPECT_EQ(orb__err, row.opens ? 0 : ORB_E_HANDLE);
    EXPECT_EQ(reports.texts(), row.report);
  }
}

}  // namespace
}  // namespace orb::testing
