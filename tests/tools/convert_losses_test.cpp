// What convert refuses: every loss by its name, and nothing written; and how a loss is asked for.
#include <png.h>

#include <cstdlib>

#include "tool_test.h"

namespace orb::testing {
namespace {

using ConvertLosses = ToolTest;

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

TEST_F(ConvertLosses, a_loss_is_refused_by_name_and_nothing_is_written) {
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

TEST_F(ConvertLosses, only_the_group_at_fault_is_left_out_and_the_rest_keeps_its_samples) {
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

TEST_F(ConvertLosses, a_dry_run_writes_nothing_and_says_what_it_would_do) {
  PipeFile().write("a.pipe");
  expect("convert -n a.pipe -o b.png", 0, "would write b.png (png) from a.pipe (pipe), rows: spool\n");
  put_bytes("b.png", "old");
  expect("convert -n a.pipe -o b.png", 4);
  expect("convert -n -f a.pipe -o b.png", 0, HasSubstr("would replace b.png"));
  EXPECT_EQ(bytes_of("b.png"), "old");
}

TEST_F(ConvertLosses, the_losses_are_listed_in_json) {
  PipeFile file;
  file.change = [](ORB_INFO& info, ORB_IFD& image) {
    with_curve_table(info, image);
    with_active_window(info, image);
  };
  file.write("a.pipe");
  const Json outcome = Json::parse(expect("convert --json a.pipe -o b.png", 5).out);
  EXPECT_EQ(outcome["result"], "refused");
  ASSERT_EQ(outcome["losses"].size(), 2U) << outcome;
  EXPECT_EQ(outcome["losses"][0]["name"], "active-window");
  EXPECT_EQ(outcome["losses"][1]["name"], "curve");
}

TEST_F(ConvertLosses, what_the_input_declares_comes_through_and_what_it_does_not_is_not_made_up) {
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
}

}  // namespace
}  // namespace orb::testing
