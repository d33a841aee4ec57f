// Pictures written through the plug-in, read by the codec library.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <utility>

#include "oracle.h"

namespace orb::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

TEST_F(PngTest, other_programs_see_native_depths_as_they_are_and_other_widths_scaled) {
  const struct {
    int colours, mattes, width, depth;
  } rows[] = {{1, 0, 1, 1}, {1, 0, 2, 2},   {1, 0, 4, 4},   {1, 0, 8, 8},  {1, 0, 16, 16},
              {3, 1, 8, 8}, {3, 0, 16, 16}, {1, 0, 3, 8},   {1, 1, 1, 8},  {3, 0, 5, 8},
              {3, 1, 7, 8}, {1, 0, 9, 16},  {3, 0, 10, 16}, {1, 1, 15, 16}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.colours << "+" << row.mattes << " width " << row.width);
    Wanted wanted("png", "out", 9, 3);
    const Planes planes = noise(row.colours + row.mattes, row.width, 27);
    ASSERT_EQ(write_all(wanted.color(row.colours, row.width).matte(row.mattes, row.width).open(), planes), 0);
    bool has_bits = false;
    const Stored stored = decode(load("out"), [&has_bits](png_structp png, png_infop info) {
      has_bits = png_get_valid(png, info, PNG_INFO_sBIT) != 0;
    });
    EXPECT_EQ(stored.depth, row.depth);
    EXPECT_EQ(has_bits, row.depth != row.width);
    ASSERT_EQ(stored.planes.size(), planes.size());
    for (size_t c = 0; c < planes.size(); ++c) {
      for (size_t i = 0; i < planes[c].size(); ++i) {
        // Repeating bits is the nearest scaling of the whole range, to one step.
        const double exact =
            static_cast<double>(planes[c][i]) * ((1 << row.depth) - 1.0) / ((1 << row.width) - 1.0);
        EXPECT_NEAR(static_cast<double>(stored.planes[c][i]), exact, 1.0);
      }
    }
  }
}

TEST_F(PngTest, significant_bits_alone_are_read_as_stored) {
  const Stored stored = noise_picture(8, 8, PNG_COLOR_TYPE_GRAY, 8);
  // With "5" both agree, but somebody changed the samples since: said once, not a row at a time.
  for (const std::string width_text : {"", "6", "9", "0", "-5", "5x", "99999999999", "5"}) {
    SCOPED_TRACE(width_text);
    reports.clear();
    save("in", encode(stored, [&width_text](png_structp png, png_infop info) {
           const png_color_8 bits = {5, 5, 5, 5, 5};
           png_set_sBIT(png, info, &bits);
           if (!width_text.empty())
             add_text(png, info, PNG_TEXT_COMPRESSION_NONE, "orbbase:width", width_text);
         }));
    const Image image = open_read("png", "in");
    ASSERT_TRUE(image);
    EXPECT_EQ(image->info.images[0].color.width, width_text == "5" ? 5 : 8);
    EXPECT_EQ(read_all(*image) == stored.planes, width_text != "5");
    EXPECT_EQ(reports.reports.size(), width_text.empty() || width_text == "5" ? 1U : 2U) << reports.texts();
    EXPECT_THAT(reports.texts(), HasSubstr(width_text == "5" ? "more bits than the file declares" : "sBIT"));
  }
}

TEST_F(PngTest, colours_with_more_than_8_bits_have_no_place_in_a_palette) {
  const Table table = make_table(4);
  table->entries[2].rgba[0] = 258;
  EXPECT_FALSE(Wanted("png", "out", 4, 3).index(2, table).open());
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_THAT(reports.texts(), EndsWith("the lookup table's values need more than 8 bits"));
}

TEST_F(PngTest, settings_choose_compression_and_filter) {
  Planes ramp(1);
  for (uint64_t i = 0; i < 4096; ++i) ramp[0].push_back((i % 64 + i / 64) & 255);
  const auto size_with = [&ramp](uint16_t code, int32_t value) {
    EXPECT_EQ(write_all(Wanted("png", "out", 64, 64).color(1, 8).set(code, value).open(), ramp), 0);
    EXPECT_EQ(decode(load("out")).planes, ramp);
    return load("out").size();
  };
  EXPECT_GT(size_with(2, 0), 4096U);
  EXPECT_LT(size_with(2, 9), 1000U);
  // On a ramp the difference from the left neighbour is constant.
  EXPECT_LT(size_with(3, 1), size_with(3, 0));
  for (const int filter : {2, 3, 4, 5}) size_with(3, filter);
}

TEST_F(PngTest, writes_the_standard_output_and_leaves_it_open) {
  std::fflush(stdout);
  const int kept = dup(STDOUT_FILENO);
  const int target = open("out", O_CREAT | O_WRONLY | O_TRUNC, 0600);
  dup2(target, STDOUT_FILENO);
  const int32_t code = write_all(Wanted("png", "/dev/stdout", 8, 4).color(1, 8).open(), noise(1, 8, 32));
  const bool is_open = fcntl(STDOUT_FILENO, F_GETFD) != -1;
  dup2(kept, STDOUT_FILENO);
  close(kept);
  close(target);
  EXPECT_EQ(code, 0) << reports.texts();
  EXPECT_TRUE(is_open);
  EXPECT_EQ(decode(load("out")).planes, noise(1, 8, 32));
}

}  // namespace
}  // namespace orb::testing
