// What convert carries over: samples bit for bit, in any order of rows, through files, streams and devices; and what
// it refuses: every loss by its name, with nothing written.
#include <png.h>

#include <cstdlib>
#include <sstream>

#include "animation.h"
#include "tool_test.h"

namespace orb::testing {
namespace {

TEST(Convert, every_kind_of_picture_is_copied_bit_for_bit) {
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

TEST(Convert, streams_through_shell_pipes_hold_the_image_and_nothing_else) {
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

TEST(Convert, rows_stored_the_other_way_round_are_turned_and_the_way_is_told) {
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

TEST(Convert, a_palette_passes_as_indices_when_both_drivers_are_told_so) {
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

TEST(Convert, a_key_is_an_ending_too_and_a_setting_reaches_the_driver) {
  expect_all({{"convert samples/chelsea.png -o a.tiff"},
              {"diff samples/chelsea.png a.tiff"},
              {"convert samples/chelsea.png -o a.tiffy", 4},
              {"convert samples/chelsea.png -o big.png --set compression=0"}});
  EXPECT_GT(bytes_of("big.png").size(), 451U * 300 * 3);
}

TEST(Convert, an_animation_is_converted_with_all_its_frames_or_refused) {
  put_bytes("a.gif", gif("012312"));
  put_bytes("x.gif", gif("01x3"));
  expect_all({{"convert a.gif -o b.gif"},
              {"diff a.gif b.gif"},
              {"convert a.gif -o c.png", 5, _, HasSubstr("--drop frame-count")},
              {"convert a.gif -o c.png --drop frame-count,frame-rate"},
              {"convert x.gif -o d.gif", 4},
              {"convert samples/head-rgb-8.png -o e.gif", 5, _, HasSubstr("--read-set palette=indices")},
              {"convert samples/head-rgb-8.png --read-set palette=indices -o e.gif", 5, _,
               Not(HasSubstr("--read-set"))}});
  EXPECT_THAT(names(), ElementsAre("a.gif", "b.gif", "c.png", "x.gif"));
}

TEST(Convert, progress_counts_rows_up_to_all_of_them) {
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

void with_aux(ORB_INFO&, ORB_IFD& image) { image.aux = {nullptr, 1, ORB_C_INTEGER, 8}; }
void with_curve_table(ORB_INFO& info, ORB_IFD& image) {
  static ORB_RESPONSE_CURVE curve = {ORB_CURVE_TABLE, 2.0F, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
  if (curve.tables == nullptr && ORB_response_curve_init(&curve) != 0) std::abort();
  image.curve = curve;
  info.word_e &= ~uint64_t{ORB_ASSUMED_GAMMA};
}
void with_active_window(ORB_INFO&, ORB_IFD& image) { image.active_window = {2, 5, 1, 3}; }
void with_matte_of_16_bits(ORB_INFO&, ORB_IFD& image) { image.matte = {nullptr, 1, ORB_C_INTEGER, 16}; }
void with_five_colours(ORB_INFO&, ORB_IFD& image) { image.color.count = 5; }

TEST(ConvertLosses, a_loss_is_refused_by_name_and_nothing_is_written) {
  const struct {
    std::string name;
    void (*change)(ORB_INFO&, ORB_IFD&);
  } rows[] = {{"aux", with_aux},
              {"curve", with_curve_table},
              {"active-window", with_active_window},
              {"matte", with_matte_of_16_bits},
              {"", with_five_colours}};
  for (const auto& row : rows) {
    PipeFile file;
    file.change = row.change;
    file.write("a.pipe");
    expect_all({{"convert a.pipe -o b.png", 5, _, HasSubstr("orb: error: ")},
                {"convert a.pipe -o - --to png", 5, ""},
                {"convert -n a.pipe -o b.png", 5}});
    EXPECT_THAT(names(), ElementsAre("a.pipe")) << row.name;
    if (row.name.empty()) continue;
    expect_all({{"convert a.pipe -o b.png --drop " + row.name, 0, _, ""},
                {"convert -f a.pipe -o b.png --allow-lossy", 0, _, HasSubstr("orb: warning: b.png: ")}});
    EXPECT_EQ(read_png("b.png").height, 5U);
    std::filesystem::remove("b.png");
  }
}

TEST(ConvertLosses, only_the_group_at_fault_is_left_out_and_the_rest_keeps_its_samples) {
  PipeFile file;
  file.change = [](ORB_INFO&, ORB_IFD& image) {
    image.matte = image.aux = {nullptr, 1, ORB_C_INTEGER, 8};
    image.orientation = 0;
  };
  file.write("a.pipe");
  // A group from the middle: those behind it move up.
  expect_all({{"convert a.pipe -o b.png --allow-lossy"},
              {"convert a.pipe -o c.pipe --drop matte"},
              {"convert a.pipe -o d.pipe --drop color,matte"}});
  const Png with_matte = read_png("b.png");
  EXPECT_EQ(with_matte.color_type, PNG_COLOR_TYPE_RGB_ALPHA);
  for (int c = 0; c < 4; ++c) EXPECT_EQ(static_cast<uint8_t>(with_matte.rows[1][4 * 6 + c]), ramp(6, 3, c));
  std::string top_row;
  for (int x = 0; x < 7; ++x) top_row += static_cast<char>(ramp(x, 4, 4));
  EXPECT_THAT(bytes_of("c.pipe"), HasSubstr(top_row));
  EXPECT_THAT(bytes_of("d.pipe"), HasSubstr(top_row));
  EXPECT_EQ(bytes_of("c.pipe").size(), bytes_of("d.pipe").size() + 3 * 7 * 5);
}

TEST(ConvertLosses, a_dry_run_writes_nothing_and_says_what_it_would_do) {
  PipeFile().write("a.pipe");
  expect("convert -n a.pipe -o b.png", 0, "would write b.png (png) from a.pipe (pipe), rows: spool\n");
  put_bytes("b.png", "old");
  expect("convert -n a.pipe -o b.png", 4);
  expect("convert -n -f a.pipe -o b.png", 0, HasSubstr("would replace b.png"));
  EXPECT_EQ(bytes_of("b.png"), "old");
}

TEST(ConvertLosses, the_losses_are_listed_in_json) {
  PipeFile file;
  file.change = [](ORB_INFO& info, ORB_IFD& image) {
    with_curve_table(info, image);
    with_active_window(info, image);
  };
  file.write("a.pipe");
  const Json outcome = Json::parse(expect("convert --json a.pipe -o b.png", 5).out);
  EXPECT_EQ(outcome["result"], "refused");
  ASSERT_EQ(outcome["losses"].size(), 2U) << outcome;
  EXPECT_EQ(outcome["losses"][1]["name"], "curve");
  std::filesystem::rename("a.pipe", "a.1.pipe");
  const Json frames = Json::parse(expect("convert --json a.#.pipe -o b.#.png", 5).out)["frames"];
  EXPECT_EQ(frames[0]["losses"], outcome["losses"]);
}

TEST(ConvertLosses, what_the_input_declares_comes_through_and_what_it_does_not_is_not_made_up) {
  std::string words = "A ramp, \xc3\xbc";
  PipeFile file;
  file.change = [&words](ORB_INFO& info, ORB_IFD& image) {
    info.text3 = words.data();
    info.word_e &= ~uint64_t{ORB_ASSUMED_GAMMA};
    image.curve.gamma = 1.8F;
  };
  file.write("a.pipe");
  expect("convert a.pipe -o b.png", 0);
  const Json read = json_of("info --json b.png")["files"][0];
  EXPECT_EQ(read["texts"], (Json{{"description", words}}));
  EXPECT_NEAR(read["images"][0]["curve"]["gamma"].get<double>(), 1.8, 1e-4);
  EXPECT_EQ(read["images"][0]["curve"]["assumed"], false);
  EXPECT_EQ(read["primaries"]["assumed"], true);
  std::string moment = "{1700000000}";  // which other formats keep in words
  file.change = [&moment](ORB_INFO& info, ORB_IFD&) { info.text7 = moment.data(); };
  file.write("c.pipe");
  expect_all({{"convert c.pipe -o d.png"}, {"convert c.pipe -o d.tif"}});
}

}  // namespace
}  // namespace orb::testing
