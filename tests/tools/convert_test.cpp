// What convert carries over: samples bit for bit, in any order of rows, through files, streams and devices.
#include <png.h>

#include <sstream>

#include "tool_test.h"

namespace orb::testing {
namespace {

using Convert = ToolTest;

TEST_F(Convert, every_kind_of_picture_is_copied_bit_for_bit) {
  const struct {
    int depth, color_type;
  } rows[] = {{1, PNG_COLOR_TYPE_GRAY},        {2, PNG_COLOR_TYPE_GRAY},      {4, PNG_COLOR_TYPE_GRAY},
              {8, PNG_COLOR_TYPE_GRAY},        {16, PNG_COLOR_TYPE_GRAY},     {8, PNG_COLOR_TYPE_GRAY_ALPHA},
              {16, PNG_COLOR_TYPE_GRAY_ALPHA}, {8, PNG_COLOR_TYPE_RGB},       {16, PNG_COLOR_TYPE_RGB},
              {8, PNG_COLOR_TYPE_RGB_ALPHA},   {16, PNG_COLOR_TYPE_RGB_ALPHA}};
  for (const auto& row : rows) {
    write_noise_png("a.png", 24, 9, row.depth, row.color_type);
    expect("convert -f a.png -o b.pipe", 0);
    expect("convert -f b.pipe -o c.png", 0);
    EXPECT_EQ(read_png("c.png"), read_png("a.png")) << row.depth << " " << row.color_type;
  }
  EXPECT_THAT(names(), ElementsAre("a.png", "b.pipe", "c.png"));
}

TEST_F(Convert, a_key_is_an_ending_too) {
  expect_all({{"convert samples/head-rgb-16.png -o a.tiff"},
              {"diff samples/head-rgb-16.png a.tiff"},
              {"convert samples/head-rgb-16.png -o a.tiffy", 4}});
}

TEST_F(Convert, streams_through_shell_pipes_hold_the_image_and_nothing_else) {
  const Outcome run = shell(
      "set -o pipefail; orb convert -v $SAMPLES/chelsea.png -o - | orb convert - -o - --to png > b.png && "
      "orb convert --from png - -o c.png < b.png && orb info --from png - < c.png");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(read_png("b.png"), read_png(sample("chelsea.png")));
  EXPECT_EQ(read_png("c.png"), read_png(sample("chelsea.png")));
  EXPECT_THAT(run.out, HasSubstr("451 x 300"));
}

// Rows of a PipeFile as its PNG must hold them.
Png ramp_png(int32_t width, int32_t height) {
  Png picture = {static_cast<uint32_t>(width), static_cast<uint32_t>(height), 8, PNG_COLOR_TYPE_RGB, {}};
  for (int32_t row = height - 1; row >= 0; --row) {
    picture.rows.emplace_back();
    for (int32_t i = 0; i < 3 * width; ++i) picture.rows.back() += static_cast<char>(ramp(i / 3, row, i % 3));
  }
  return picture;
}

TEST_F(Convert, rows_stored_the_other_way_round_are_turned_and_the_way_is_told) {
  PipeFile file;
  file.height = 100;
  file.write("up.pipe");
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.orientation = 0; };
  file.write("down.pipe");
  const struct {
    const char* input;
    const char* way;
  } rows[] = {{"down.pipe", "direct"},
              {"up.pipe", "spool"},
              {"up.pipe --mem 1M", "spool"},
              {"up.pipe --mem 10", "reopen"},
              {"up.pipe --limit handle=4000", "reopen"}};
  for (const auto& [input, way] : rows) {
    const Outcome run = expect(std::string("convert -f -v --json -o out.png ") + input, 0, _,
                               HasSubstr(std::string("rows: ") + way + "\n"));
    EXPECT_EQ(Json::parse(run.out)["rows"], way);
    EXPECT_EQ(read_png("out.png"), ramp_png(7, 100)) << input;
  }
  // A stream cannot be read twice.
  expect({"convert - -o new.png --mem 10", 4, _, HasSubstr("--mem")}, {bytes_of("up.pipe")});
  EXPECT_THAT(names(), ElementsAre("down.pipe", "out.png", "up.pipe"));
}

TEST_F(Convert, a_palette_passes_as_indices_when_both_drivers_are_told_so) {
  PipeFile file;
  file.change = [](ORB_INFO& info, ORB_IFD& image) {
    static ORB_LUT* const lut = ORB_lut_alloc(256);
    for (int i = 0; i < 256; ++i) {
      const auto level = static_cast<uint16_t>((255 - i) * 257);
      lut->entries[i] = {{level, static_cast<uint16_t>(i * 257), 0, 65535}};
    }
    info.write_option = reinterpret_cast<uintptr_t>(lut);
    image.color.count = 0;
    image.index = {nullptr, 1, ORB_C_INTEGER, 8};
    image.orientation = 0;
  };
  file.write("a.pipe");
  expect_all({{"convert a.pipe -o b.png"},
              {"convert b.png -o c.pipe --read-set PALETTE=Indices"},
              {"convert c.pipe -o d.png"},
              {"convert d.png -o e.png"}});
  const Png stored = read_png("b.png");
  EXPECT_EQ(stored.color_type, PNG_COLOR_TYPE_PALETTE);
  EXPECT_EQ(static_cast<uint8_t>(stored.rows[0][2]), ramp(2, 4, 0));
  EXPECT_EQ(read_png("d.png"), stored);
  const Png colours = read_png("e.png");
  EXPECT_EQ(colours.color_type, PNG_COLOR_TYPE_RGB);
  const uint8_t index = ramp(0, 4, 0);
  EXPECT_EQ(static_cast<uint8_t>(colours.rows[0][0]), 255 - index);
  EXPECT_EQ(static_cast<uint8_t>(colours.rows[0][1]), index);
}

TEST_F(Convert, a_driver_setting_reaches_the_driver) {
  expect("convert samples/chelsea.png -o small.png --set compression=9", 0);
  expect("convert samples/chelsea.png -o big.png --set compression=0", 0);
  EXPECT_EQ(read_png("small.png"), read_png("big.png"));
  EXPECT_GT(bytes_of("big.png").size(), 451U * 300 * 3);
  EXPECT_LT(bytes_of("small.png").size(), 300000U);
}

TEST_F(Convert, progress_counts_rows_up_to_all_of_them) {
  PipeFile file;
  file.height = 250;
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.orientation = 0; };
  file.write("a.pipe");
  const std::string convert = "convert -f a.pipe -o b.png ";
  expect_all(
      {{convert + "--progress=plain", 0, _,
        AllOf(StartsWith("progress: 1/250 0%\nprogress: 3/250 1%\n"), EndsWith("progress: 250/250 100%\n"))},
       {convert, 0, _, ""}});
  std::istringstream lines(expect(convert + "--progress=json", 0).err);
  size_t count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_EQ(Json::parse(line)["progress"]["total"], 250);
  }
  EXPECT_EQ(count, 101U);
  expect_all({{convert + "--progress=auto", 0, _, HasSubstr("] 100%\r\033[K")},
              {convert + "--progress=none", 0, _, ""}},
             {.terminal_for_errors = true});
}

}  // namespace
}  // namespace orb::testing
