// What convert refuses: every loss by its name, and nothing written; and how a loss is asked for.
#include <gtest/gtest.h>
#include <png.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

using Json = nlohmann::json;

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
  const Folder folder;
  const struct {
    const char* name;
    void (*change)(ORB_INFO&, ORB_IFD&);
  } rows[] = {{"aux", with_aux},
              {"curve", with_curve_table},
              {"active-window", with_active_window},
              {"matte", with_matte_of_16_bits},
              {"", with_five_colours}};
  for (const auto& row : rows) {
    PipeFile file;
    file.change = row.change;
    file.write(folder.path("a.pipe"));
    const Outcome refused = orb(folder, {"convert", "a.pipe", "-o", "b.png"});
    EXPECT_EQ(refused.status, 5) << row.name << refused.err;
    EXPECT_NE(refused.err.find("orb: error: "), std::string::npos);
    const Outcome dry = orb(folder, {"convert", "-n", "a.pipe", "-o", "b.png"});
    EXPECT_EQ(dry.status, 5) << row.name;
    EXPECT_EQ(folder.names(), std::vector<std::string>{"a.pipe"}) << row.name;
    if (*row.name == '\0') continue;
    const Outcome dropped = orb(folder, {"convert", "a.pipe", "-o", "b.png", "--drop", row.name});
    EXPECT_EQ(dropped.status, 0) << row.name << dropped.err;
    EXPECT_EQ(dropped.err, "") << row.name;
    const Outcome lossy = orb(folder, {"convert", "-f", "a.pipe", "-o", "b.png", "--allow-lossy"});
    EXPECT_EQ(lossy.status, 0) << row.name << lossy.err;
    EXPECT_NE(lossy.err.find("orb: warning: b.png: "), std::string::npos) << row.name << lossy.err;
    EXPECT_EQ(read_png(folder.path("b.png")).height, 5U);
    std::filesystem::remove(folder.path("b.png"));
  }
}

TEST(ConvertLosses, only_the_group_at_fault_is_left_out_and_the_rest_keeps_its_samples) {
  const Folder folder;
  PipeFile file;
  file.change = [](ORB_INFO&, ORB_IFD& image) {
    image.matte = image.aux = {nullptr, 1, ORB_C_INTEGER, 8};
    image.orientation = 0;
  };
  file.write(folder.path("a.pipe"));
  ASSERT_EQ(orb(folder, {"convert", "a.pipe", "-o", "b.png", "--allow-lossy"}).status, 0);
  const Png with_matte = read_png(folder.path("b.png"));
  EXPECT_EQ(with_matte.color_type, PNG_COLOR_TYPE_RGB_ALPHA);
  for (int c = 0; c < 4; ++c) EXPECT_EQ(static_cast<uint8_t>(with_matte.rows[1][4 * 6 + c]), ramp(6, 3, c));

  // A group from the middle: those behind it move up.
  ASSERT_EQ(orb(folder, {"convert", "a.pipe", "-o", "c.pipe", "--drop", "matte"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", "a.pipe", "-o", "d.pipe", "--drop", "color,matte"}).status, 0);
  const std::string colours_and_aux = bytes_of(folder.path("c.pipe"));
  const std::string aux = bytes_of(folder.path("d.pipe"));
  std::string top_row;
  for (int x = 0; x < 7; ++x) top_row += static_cast<char>(ramp(x, 4, 4));
  EXPECT_NE(colours_and_aux.find(top_row), std::string::npos);
  EXPECT_NE(aux.find(top_row), std::string::npos);
  EXPECT_EQ(colours_and_aux.size(), aux.size() + 3 * 7 * 5);
}

TEST(ConvertLosses, a_dry_run_writes_nothing_and_says_what_it_would_do) {
  const Folder folder;
  PipeFile().write(folder.path("a.pipe"));
  const Outcome run = orb(folder, {"convert", "-n", "a.pipe", "-o", "b.png"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "would write b.png (png) from a.pipe (pipe), rows: spool\n");
  put_bytes(folder.path("b.png"), "old");
  EXPECT_EQ(orb(folder, {"convert", "-n", "a.pipe", "-o", "b.png"}).status, 4);
  EXPECT_NE(orb(folder, {"convert", "-n", "-f", "a.pipe", "-o", "b.png"}).out.find("would replace b.png"),
            std::string::npos);
  EXPECT_EQ(bytes_of(folder.path("b.png")), "old");
}

TEST(ConvertLosses, the_losses_are_listed_in_json) {
  const Folder folder;
  PipeFile file;
  file.change = [](ORB_INFO& info, ORB_IFD& image) {
    with_curve_table(info, image);
    with_active_window(info, image);
  };
  file.write(folder.path("a.pipe"));
  const Outcome run = orb(folder, {"convert", "--json", "a.pipe", "-o", "b.png"});
  EXPECT_EQ(run.status, 5);
  const Json outcome = Json::parse(run.out);
  EXPECT_EQ(outcome["result"], "refused");
  ASSERT_EQ(outcome["losses"].size(), 2U) << run.out;
  EXPECT_EQ(outcome["losses"][0]["name"], "active-window");
  EXPECT_EQ(outcome["losses"][1]["name"], "curve");
}

TEST(ConvertLosses, what_the_input_declares_comes_through_and_what_it_does_not_is_not_made_up) {
  const Folder folder;
  std::string words = "A ramp, \xc3\xbc";
  PipeFile file;
  file.change = [&words](ORB_INFO& info, ORB_IFD& image) {
    info.text3 = words.data();
    info.word_e &= ~uint64_t{ORB_ASSUMED_GAMMA};
    image.curve.gamma = 1.8F;
  };
  file.write(folder.path("a.pipe"));
  ASSERT_EQ(orb(folder, {"convert", "a.pipe", "-o", "b.png"}).status, 0);
  const Json read = Json::parse(orb(folder, {"info", "--json", "b.png"}).out)["files"][0];
  EXPECT_EQ(read["texts"], (Json{{"description", words}}));
  EXPECT_NEAR(read["images"][0]["curve"]["gamma"].get<double>(), 1.8, 1e-4);
  EXPECT_EQ(read["images"][0]["curve"]["assumed"], false);
  EXPECT_EQ(read["primaries"]["assumed"], true);
}

}  // namespace
}  // namespace orb::testing
