// What convert carries over: samples bit for bit, in any order of rows, through files, streams and devices.
#include <gtest/gtest.h>
#include <png.h>

#include <nlohmann/json.hpp>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

using Json = nlohmann::json;

TEST(Convert, a_photograph_comes_back_unchanged_from_a_pipe_stream) {
  const Folder folder;
  ASSERT_EQ(orb(folder, {"convert", sample("chelsea.png"), "-o", "a.pipe"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", "a.pipe", "-o", "b.png"}).status, 0);
  EXPECT_EQ(read_png(folder.path("b.png")), read_png(sample("chelsea.png")));
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.pipe", "b.png"}));
}

TEST(Convert, every_kind_of_picture_is_copied_bit_for_bit) {
  const Folder folder;
  const struct {
    int depth, color_type;
  } rows[] = {{1, PNG_COLOR_TYPE_GRAY},        {2, PNG_COLOR_TYPE_GRAY},      {4, PNG_COLOR_TYPE_GRAY},
              {8, PNG_COLOR_TYPE_GRAY},        {16, PNG_COLOR_TYPE_GRAY},     {8, PNG_COLOR_TYPE_GRAY_ALPHA},
              {16, PNG_COLOR_TYPE_GRAY_ALPHA}, {8, PNG_COLOR_TYPE_RGB},       {16, PNG_COLOR_TYPE_RGB},
              {8, PNG_COLOR_TYPE_RGB_ALPHA},   {16, PNG_COLOR_TYPE_RGB_ALPHA}};
  for (const auto& row : rows) {
    write_noise_png(folder.path("a.png"), 24, 9, row.depth, row.color_type);
    const Outcome there = orb(folder, {"convert", "-f", "a.png", "-o", "b.pipe"});
    const Outcome back = orb(folder, {"convert", "-f", "b.pipe", "-o", "c.png"});
    ASSERT_EQ(there.status + back.status, 0) << there.err << back.err;
    EXPECT_EQ(read_png(folder.path("c.png")), read_png(folder.path("a.png")))
        << row.depth << " " << row.color_type;
  }
}

TEST(Convert, a_key_is_an_ending_too) {
  const Folder folder;
  const std::string picture = sample("head-rgb-16.png");
  ASSERT_EQ(orb(folder, {"convert", picture, "-o", "a.tiff"}).status, 0);
  const Outcome same = orb(folder, {"diff", picture, "a.tiff"});
  EXPECT_EQ(same.status, 0) << same.err;
  EXPECT_EQ(orb(folder, {"convert", picture, "-o", "a.tiffy"}).status, 4);
}

TEST(Convert, streams_through_shell_pipes_hold_the_image_and_nothing_else) {
  const Folder folder;
  const Outcome run = shell(folder, "set -o pipefail; \"$ORB\" convert -v '" + sample("chelsea.png") +
                                        "' -o - | \"$ORB\" convert - -o - --to png > b.png && "
                                        "\"$ORB\" convert --from png - -o c.png < b.png && "
                                        "\"$ORB\" info --from png - < c.png");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(read_png(folder.path("b.png")), read_png(sample("chelsea.png")));
  EXPECT_EQ(read_png(folder.path("c.png")), read_png(sample("chelsea.png")));
  EXPECT_NE(run.out.find("451 x 300"), std::string::npos);
}

// Rows of a PipeFile as its PNG must hold them.
Png ramp_png(int32_t width, int32_t height) {
  Png picture = {static_cast<uint32_t>(width), static_cast<uint32_t>(height), 8, PNG_COLOR_TYPE_RGB, {}};
  for (int32_t row = height - 1; row >= 0; --row) {
    std::string bytes;
    for (int32_t x = 0; x < width; ++x) {
      for (int32_t c = 0; c < 3; ++c) bytes += static_cast<char>(ramp(x, row, c));
    }
    picture.rows.push_back(bytes);
  }
  return picture;
}

TEST(Convert, rows_stored_the_other_way_round_are_turned_and_the_way_is_told) {
  const Folder folder;
  PipeFile file;
  file.height = 100;
  file.write(folder.path("up.pipe"));
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.orientation = 0; };
  file.write(folder.path("down.pipe"));
  const struct {
    const char* input;
    std::vector<std::string> flags;
    const char* way;
  } rows[] = {{"down.pipe", {}, "direct"},
              {"up.pipe", {}, "spool"},
              {"up.pipe", {"--mem", "1M"}, "spool"},
              {"up.pipe", {"--mem", "10"}, "reopen"},
              {"up.pipe", {"--limit", "handle=4000"}, "reopen"}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"convert", "-f", "-v", "--json", row.input, "-o", "out.png"};
    arguments.insert(arguments.end(), row.flags.begin(), row.flags.end());
    const Outcome run = orb(folder, arguments);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.err.find(std::string("rows: ") + row.way + "\n"), std::string::npos) << run.err;
    EXPECT_EQ(Json::parse(run.out)["rows"], row.way);
    EXPECT_EQ(read_png(folder.path("out.png")), ramp_png(7, 100)) << row.way;
  }
}

TEST(Convert, a_stream_that_cannot_be_read_twice_is_refused_when_memory_does_not_allow_to_turn_it) {
  const Folder folder;
  PipeFile().write(folder.path("up.pipe"));
  const Outcome run = orb(folder, {"convert", "-", "-o", "out.png", "--mem", "10"},
                          {bytes_of(folder.path("up.pipe")), {}, false});
  EXPECT_EQ(run.status, 4);
  EXPECT_NE(run.err.find("--mem"), std::string::npos) << run.err;
  EXPECT_EQ(folder.names(), std::vector<std::string>{"up.pipe"});
}

TEST(Convert, a_palette_passes_as_indices_when_both_drivers_are_told_so) {
  const Folder folder;
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
  file.write(folder.path("a.pipe"));
  const Outcome run = orb(folder, {"convert", "a.pipe", "-o", "b.png"});
  ASSERT_EQ(run.status, 0) << run.err;
  const Png stored = read_png(folder.path("b.png"));
  EXPECT_EQ(stored.color_type, PNG_COLOR_TYPE_PALETTE);
  EXPECT_EQ(static_cast<uint8_t>(stored.rows[0][2]), ramp(2, 4, 0));

  ASSERT_EQ(orb(folder, {"convert", "b.png", "-o", "c.pipe", "--read-set", "PALETTE=Indices"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", "c.pipe", "-o", "d.png"}).status, 0);
  EXPECT_EQ(read_png(folder.path("d.png")), stored);
  ASSERT_EQ(orb(folder, {"convert", "d.png", "-o", "e.png"}).status, 0);
  const Png colours = read_png(folder.path("e.png"));
  EXPECT_EQ(colours.color_type, PNG_COLOR_TYPE_RGB);
  const uint8_t index = ramp(0, 4, 0);
  EXPECT_EQ(static_cast<uint8_t>(colours.rows[0][0]), 255 - index);
  EXPECT_EQ(static_cast<uint8_t>(colours.rows[0][1]), index);
}

TEST(Convert, a_driver_setting_reaches_the_driver) {
  const Folder folder;
  ASSERT_EQ(
      orb(folder, {"convert", sample("chelsea.png"), "-o", "small.png", "--set", "compression=9"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", sample("chelsea.png"), "-o", "big.png", "--set", "compression=0"}).status,
            0);
  EXPECT_EQ(read_png(folder.path("small.png")), read_png(folder.path("big.png")));
  EXPECT_GT(bytes_of(folder.path("big.png")).size(), 451U * 300 * 3);
  EXPECT_LT(bytes_of(folder.path("small.png")).size(), 300000U);
}

TEST(Convert, progress_counts_rows_up_to_all_of_them) {
  const Folder folder;
  PipeFile file;
  file.height = 250;
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.orientation = 0; };
  file.write(folder.path("a.pipe"));
  const Outcome plain = orb(folder, {"convert", "a.pipe", "-o", "b.png", "--progress=plain"});
  EXPECT_EQ(plain.err.rfind("progress: 1/250 0%\nprogress: 3/250 1%\n", 0), 0U) << plain.err;
  EXPECT_EQ(plain.err.substr(plain.err.rfind("progress: ")), "progress: 250/250 100%\n");

  const Outcome json = orb(folder, {"convert", "-f", "a.pipe", "-o", "b.png", "--progress=json"});
  size_t lines = 0;
  for (size_t at = 0; at < json.err.size(); at = json.err.find('\n', at) + 1, ++lines) {
    const Json line = Json::parse(json.err.substr(at, json.err.find('\n', at) - at));
    EXPECT_EQ(line["progress"]["total"], 250);
  }
  EXPECT_EQ(lines, 101U);

  EXPECT_EQ(orb(folder, {"convert", "-f", "a.pipe", "-o", "b.png"}).err, "");
  const auto on_terminal = [&](const char* how) {
    return orb(folder, {"convert", "-f", "a.pipe", "-o", "b.png", how}, {"", {}, true}).err;
  };
  EXPECT_NE(on_terminal("--progress=auto").find("] 100%\r\033[K"), std::string::npos);
  EXPECT_EQ(on_terminal("--progress=none"), "");
}

}  // namespace
}  // namespace orb::testing
