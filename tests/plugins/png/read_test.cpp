// Pictures that the codec library wrote, read through the plug-in.
#include <gmock/gmock.h>

#include "oracle.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

TEST_F(PngTest, reads_every_colour_type_depth_and_interlace_as_stored) {
  const struct {
    int color_type;
    std::vector<int> depths;
  } rows[] = {{PNG_COLOR_TYPE_GRAY, {1, 2, 4, 8, 16}},
              {PNG_COLOR_TYPE_GRAY_ALPHA, {8, 16}},
              {PNG_COLOR_TYPE_RGB, {8, 16}},
              {PNG_COLOR_TYPE_RGB_ALPHA, {8, 16}}};
  for (const auto& row : rows) {
    for (const int depth : row.depths) {
      for (const uint32_t width : {1U, 7U, 33U, 101U, 107U, 133U}) {
        SCOPED_TRACE(::testing::Message() << row.color_type << " depth " << depth << " width " << width);
        const bool is_interlaced = width > 100;
        const Stored stored = noise_picture(width % 100, 9, row.color_type, depth, is_interlaced);
        save("in", encode(stored));
        reports.clear();
        const Image image = open_read("png", "in");
        ASSERT_TRUE(image) << reports.texts();
        const ORB_IFD& ifd = image->info.images[0];
        EXPECT_EQ(ifd.color.count, (row.color_type & PNG_COLOR_MASK_COLOR) != 0 ? 3 : 1);
        EXPECT_EQ(ifd.matte.count, (row.color_type & PNG_COLOR_MASK_ALPHA) != 0 ? 1 : 0);
        EXPECT_EQ(ifd.color.width, depth);
        EXPECT_EQ(ifd.orientation & ORB_BOTTOM_UP, 0U);
        EXPECT_EQ(read_all(*image), stored.planes);
        EXPECT_THAT(reports.texts(), HasSubstr(is_interlaced ? "in: interlaced" : ""));
        EXPECT_EQ(reports.reports.size(), is_interlaced ? 1U : 0U);
      }
    }
  }
}

TEST_F(PngTest, a_palette_arrives_as_colours_or_as_indices_with_their_table) {
  for (const int depth : {1, 2, 4, 8}) {
    for (const bool is_interlaced : {false, true}) {
      SCOPED_TRACE(depth);
      const Stored stored = noise_picture(19, 5, PNG_COLOR_TYPE_PALETTE, depth, is_interlaced);
      png_byte alphas[2] = {0, 128};
      save("in", encode(stored, [&alphas](png_structp png, png_infop info) {
             png_set_tRNS(png, info, alphas, 2, nullptr);
           }));
      const Image colours = open_read("png", "in");
      ASSERT_TRUE(colours);
      EXPECT_EQ(colours->info.images[0].color.width, 8);
      const Planes planes = read_all(*colours);
      ASSERT_EQ(planes.size(), 4U);
      const Image indices = open_read("png", "in", {{0, 1}});
      ASSERT_TRUE(indices);
      EXPECT_EQ(indices->info.images[0].color.count, 0);
      EXPECT_EQ(indices->info.images[0].index.width, depth);
      EXPECT_EQ(read_all(*indices), stored.planes);
      const Table table = read_table(*indices);
      EXPECT_EQ(table->entry_count, 1 << depth);
      for (size_t i = 0; i < planes[0].size(); ++i) {
        const uint64_t index = stored.planes[0][i];
        EXPECT_EQ(planes[0][i], index * 7 % 256);
        EXPECT_EQ(planes[1][i], 255 - index);
        EXPECT_EQ(planes[3][i], index < 2 ? alphas[index] : 255U);
        for (size_t c = 0; c < 4; ++c) EXPECT_EQ(table->entries[index].rgba[c], planes[c][i] * 257);
      }
    }
  }
}

TEST_F(PngTest, a_transparent_colour_becomes_a_matte_of_the_colours_width) {
  const struct {
    int color_type, depth;
  } rows[] = {{PNG_COLOR_TYPE_GRAY, 1}, {PNG_COLOR_TYPE_GRAY, 2},  {PNG_COLOR_TYPE_GRAY, 4},
              {PNG_COLOR_TYPE_GRAY, 8}, {PNG_COLOR_TYPE_GRAY, 16}, {PNG_COLOR_TYPE_RGB, 8},
              {PNG_COLOR_TYPE_RGB, 16}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.color_type << " depth " << row.depth);
    Stored stored = noise_picture(11, 5, row.color_type, row.depth);
    // The fourth pixel is the key; the fifth differs from it in the last channel only.
    for (auto& plane : stored.planes) plane[4] = plane[3];
    stored.planes.back()[4] ^= 1;
    const auto of_key = [&stored](size_t c) {
      return static_cast<png_uint_16>(c < stored.planes.size() ? stored.planes[c][3] : 0);
    };
    const png_color_16 key = {0, of_key(0), of_key(1), of_key(2), of_key(0)};
    save("in", encode(stored, [&key](png_structp png, png_infop info) {
           png_set_tRNS(png, info, nullptr, 0, &key);
         }));
    const Image image = open_read("png", "in");
    ASSERT_TRUE(image) << reports.texts();
    EXPECT_EQ(image->info.images[0].matte.width, row.depth);
    std::vector<uint64_t> matte;
    for (size_t i = 0; i < 55; ++i) {
      bool is_key = true;
      for (size_t c = 0; c < stored.planes.size(); ++c) is_key = is_key && stored.planes[c][i] == of_key(c);
      matte.push_back(is_key ? 0 : (1U << row.depth) - 1);
    }
    EXPECT_EQ(matte[3] == 0 && matte[4] != 0, true);
    stored.planes.push_back(matte);
    EXPECT_EQ(read_all(*image), stored.planes);
  }
}

TEST_F(PngTest, settings_are_checked) {
  save("in", encode(noise_picture(3, 3, PNG_COLOR_TYPE_GRAY, 8)));
  const struct {
    Setting setting;
    bool opens;
    const char* report;
  } rows[] = {
      {{0, 2}, false, "png cannot handle the requested action"},
      {{2, 9}, true, ""},
      {{65535, 0}, true, ""},
      {{77, 0}, true, "Unknown type-specific capability code (77) specified when trying to open image file"}};
  for (const auto& row : rows) {
    reports.clear();
    EXPECT_EQ(open_read("png", "in", {row.setting}) != nullptr, row.opens) << row.setting.code;
    EXPECT_EQ(orb__err, row.opens ? 0 : ORB_E_HANDLE);
    EXPECT_EQ(reports.texts(), row.report);
  }
}

}  // namespace
}  // namespace orb::testing
