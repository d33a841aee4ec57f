// What diff says of two images: its verdicts, its figures, the image of the differences.
#include <png.h>

#include <cmath>
#include <limits>

#include "animation.h"
#include "tool_test.h"

namespace orb::testing {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(Diff, the_verdict_follows_the_thresholds) {
  const PipeFile a8 = grey({{9, 200}}), one_of_four = grey({{0, 0, 0, 1}}), zeros = grey({{0, 0, 0, 0}});
  const PipeFile next8 = grey({{9, 201}}), next16 = grey<uint16_t>({{1, 40001}});
  const PipeFile a16 = grey<uint16_t>({{1, 40000}}), one = grey<float>({{1}}), one64 = grey<double>({{1}});
  const PipeFile above_one = grey<float>({{1.0000005}}), above_one64 = grey<double>({{1 + 1e-15}});
  const PipeFile last32 = grey<uint32_t>({{4294967295.0}}), before32 = grey<uint32_t>({{4294967294.0}});
  const std::string step = "0.00392156862745098";  // 1/255
  const struct {
    PipeFile a, b;
    std::string flags;
    int status;
  } rows[] = {{a8, a8, "--fail 0 --warn 0", 0},
              {a8, next8, "", 2},
              {a8, next8, "--fail " + step, 1},
              {a8, next8, "--fail " + step + " --warn " + step, 0},
              {a8, next8, "--fail 0.0039215 --warn " + step, 2},
              {one_of_four, zeros, "--fail-percent 25", 1},
              {one_of_four, zeros, "--fail-percent 25 --warn-percent 25", 0},
              {one_of_four, zeros, "--fail-percent 24.9", 2},
              {one_of_four, zeros, "--fail-percent 25 --hard-fail 0.003", 2},
              {one_of_four, zeros, "--fail 1 --warn 1 --hard-fail " + step, 0},
              {one_of_four, zeros, "--fail 1 --warn 1 --hard-warn 0", 1},
              {a16, next16, "", 2},
              {last32, before32, "--fail 0", 2},
              {grey({{0, 100, 255}}), grey<uint16_t>({{0, 25700, 65535}}), "--fail 0 --warn 0", 0},
              {grey({{0, 255}}), grey<float>({{0, 1}}), "--fail 0 --warn 0", 0},
              {one, above_one, "", 0},
              {one, above_one, "--fail 0", 2},
              {one64, above_one64, "--fail 0", 2},
              {grey<float>({{kNaN, kInf, -kInf, 0}}), grey<float>({{kNaN, kInf, -kInf, -0.0}}),
               "--fail 0 --warn 0", 0},
              {grey<float>({{kNaN}}), one, "--fail 1000", 2},
              {grey<float>({{kInf}}), grey<float>({{-kInf}}), "--fail 1000", 2},
              {grey<float>({{kInf}}), grey<float>({{3e38}}), "--fail 1000", 2}};
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(i);
    rows[i].a.write("a.pipe");
    rows[i].b.write("b.pipe");
    const char* const words[] = {"\nMATCH\n", "\nWARNING\n", "\nFAILURE\n"};
    for (const char* files : {" a.pipe b.pipe", " b.pipe a.pipe"}) {
      expect("diff " + rows[i].flags + files, rows[i].status, HasSubstr(words[rows[i].status]));
    }
  }
}

TEST(Diff, figures_are_exact_and_the_place_is_that_of_the_first_image) {
  const auto put = [&](const char* name, int32_t left, int32_t bottom, uint8_t green, uint8_t blue) {
    PipeFile file;
    file.width = 5000;  // more than is compared at once
    file.height = 2;
    file.change = [=](ORB_INFO&, ORB_IFD& image) {
      image.window = image.active_window = {left, left + 4999, bottom, bottom + 1};
    };
    file.fill = [=](void* row, int32_t above_bottom, int32_t channel) {
      if (above_bottom == 1 && channel == 1) static_cast<uint8_t*>(row)[4998] = green;
      if (above_bottom == 1 && channel == 2) static_cast<uint8_t*>(row)[4998] = blue;
    };
    file.write(name);
  };
  put("a.pipe", -10, 20, 0, 51);
  put("b.pipe", 0, 0, 102, 51 + 51);
  const Json found = Json::parse(expect("diff --json --fail 0.3 a.pipe b.pipe", 2).out);
  EXPECT_EQ(found["result"], "failure");
  EXPECT_NEAR(found["mean_error"].get<double>(), 0.6 / 30000, 1e-15);
  EXPECT_NEAR(found["rms_error"].get<double>(), std::sqrt(0.2 / 30000), 1e-15);
  EXPECT_NEAR(found["peak_snr"].get<double>(), 10 * std::log10(30000 / 0.2), 1e-9);
  EXPECT_EQ(
      found["max_error"],
      (Json{{"value", 0.4}, {"column", 4988}, {"row", 21}, {"channel", "colour 1"}, {"a", 0.0}, {"b", 0.4}}));
  EXPECT_EQ(found["over_warn"]["samples"], 2);
  EXPECT_EQ(found["over_warn"]["pixels"], 1);
  EXPECT_EQ(found["over_warn"]["pixels_percent"], 0.01);
  EXPECT_EQ(found["over_fail"]["samples"], 1);
  EXPECT_EQ(found["notes"].size(), 1U);
}

TEST(Diff, samples_that_are_not_finite_are_told_and_stay_out_of_the_means) {
  grey<float>({{kNaN, 2, 0, 0}}).write("a.pipe");
  grey<float>({{1, 3, 0, 0}}).write("b.pipe");
  const Json found = Json::parse(orb("diff --json a.pipe b.pipe").out);
  EXPECT_EQ(found["not_finite"], 1);
  EXPECT_NEAR(found["mean_error"].get<double>(), 1.0 / 3, 1e-15);
  EXPECT_EQ(found["max_error"]["value"], "inf");
  EXPECT_EQ(found["max_error"]["a"], "nan");
}

TEST(Diff, what_cannot_be_compared_has_an_exit_status_of_its_own) {
  PipeFile file;
  file.write("a.pipe");
  const std::string whole = bytes_of("a.pipe");
  put_bytes("cut.pipe", whole.substr(0, whole.size() - 1));
  put_bytes("bad.pipe", "bad");
  file.width = 8;
  file.write("wide.pipe");
  const struct {
    const char* files;
    int status;
  } rows[] = {
      {" a.pipe wide.pipe", 3}, {" none.pipe a.pipe", 4}, {" a.pipe bad.pipe", 4}, {" cut.pipe a.pipe", 4}};
  for (const auto& row : rows) {
    expect(std::string("diff -o d.pipe") + row.files, row.status,
           row.status == 4 ? Text("") : HasSubstr("7 x 5 against 8 x 5\nDIFFERENT SIZES\n"));
    const Json found = Json::parse(orb(std::string("diff --json") + row.files).out);
    EXPECT_EQ(found["result"], row.status == 4 ? "failed" : "different sizes");
    EXPECT_EQ(found.contains("error"), row.status == 4);
  }
  for (const char* arguments : {"- -", "a.pipe", "a.pipe a.pipe -o -", "--fail -1 a.pipe a.pipe",
                                "--warn nan a.pipe a.pipe", "--fail-percent 101 a.pipe a.pipe"}) {
    expect(std::string("diff ") + arguments, 2, "");
  }
  EXPECT_THAT(names(), ElementsAre("a.pipe", "bad.pipe", "cut.pipe", "wide.pipe"));
}

TEST(Diff, channels_and_lookup_tables_of_one_image_only_fail) {
  PipeFile file;
  file.write("rgb.pipe");
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.color.count = 1; };
  file.write("grey.pipe");
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.aux = {nullptr, 1, ORB_C_FLOAT, 32}; };
  file.write("depth.pipe");
  for (const int red : {1, 2}) {
    file.change = [red](ORB_INFO& info, ORB_IFD& image) {
      static ORB_LUT* const lut = ORB_lut_alloc(256);
      lut->entries[7].rgba[0] = static_cast<uint16_t>(red);
      info.write_option = reinterpret_cast<uintptr_t>(lut);
      image.color.count = 0;
      image.index = {nullptr, 1, ORB_C_INTEGER, 8};
    };
    file.write("index" + std::to_string(red) + ".pipe");
  }
  const struct {
    const char* files;
    Json failures;
  } rows[] = {{"grey.pipe rgb.pipe", {"only in rgb.pipe: colour 1, colour 2"}},
              {"rgb.pipe depth.pipe", {"only in depth.pipe: auxiliary 0"}},
              {"index1.pipe index2.pipe", {"the lookup tables differ"}},
              {"index1.pipe index1.pipe", Json::array()}};
  for (const auto& row : rows) {
    const Outcome run = expect(std::string("diff --json ") + row.files, row.failures.empty() ? 0 : 2);
    const Json found = Json::parse(run.out);
    EXPECT_EQ(found["failures"], row.failures);
    EXPECT_EQ(found["max_error"]["value"], 0.0);
  }
}

TEST(Diff, images_are_compared_whatever_the_order_of_their_rows) {
  PipeFile file;
  file.height = 40;
  file.write("up.pipe");
  file.fill = [](void* row, int32_t above_bottom, int32_t channel) {
    for (int x = 0; x < 7; ++x) static_cast<uint8_t*>(row)[x] = ramp(x, above_bottom, channel);
    if (above_bottom == 31 && channel == 2) static_cast<uint8_t*>(row)[3] ^= 1;
  };
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.orientation = 0; };
  file.write("down.pipe");
  expect("convert up.pipe -o same.png", 0);
  for (const Call& row :
       std::vector<Call>{{"up.pipe same.png", 0, _, HasSubstr("same.png: rows: spool")},
                         {"up.pipe down.pipe", 2, _, HasSubstr("down.pipe: rows: spool")},
                         {"up.pipe down.pipe --mem 10", 2, _, HasSubstr("down.pipe: rows: reopen")},
                         {"- down.pipe", 2, _, HasSubstr("down.pipe: rows: spool")},
                         {"down.pipe - --mem 10", 4},
                         {"same.png down.pipe", 2, _, HasSubstr("down.pipe: rows: direct")},
                         {"up.pipe up.pipe -o d.png", 0, _, HasSubstr("up.pipe: rows: spool")}}) {
    const Outcome run =
        expect({"diff -v --json " + row.command, row.status, _, row.err}, {bytes_of("up.pipe")});
    if (row.status != 2) continue;
    const Json found = Json::parse(run.out);
    EXPECT_EQ(found["max_error"]["row"], 31);
    EXPECT_EQ(found["max_error"]["column"], 3);
    EXPECT_EQ(found["over_fail"]["samples"], 1);
  }
}

TEST(Diff, the_difference_image_holds_the_scaled_differences_exactly) {
  write_noise_png("a.png", 60, 9, 8, PNG_COLOR_TYPE_RGB_ALPHA);
  write_noise_png("b.png", 60, 9, 8, PNG_COLOR_TYPE_RGB);
  const Png a = read_png("a.png");
  const Png b = read_png("b.png");
  expect("diff a.png b.png -o d.png --scale 3", 2);
  const Png found = read_png("d.png");
  ASSERT_EQ(found.color_type, PNG_COLOR_TYPE_RGB_ALPHA);
  for (size_t i = 0; i < size_t{9} * 60 * 4; ++i) {
    const size_t row = i / 240, pixel = i % 240 / 4, channel = i % 4;
    const int of_a = static_cast<uint8_t>(a.rows[row][4 * pixel + channel]);
    const int of_b = channel == 3 ? 0 : static_cast<uint8_t>(b.rows[row][3 * pixel + channel]);
    ASSERT_EQ(static_cast<uint8_t>(found.rows[row][i % 240]), std::min(255, 3 * std::abs(of_a - of_b)));
  }
  expect("diff a.png b.png -o d.png", 4);  // it exists
  expect("diff a.png b.png -f -n -o d.png", 2);
  EXPECT_EQ(read_png("d.png"), found);
  EXPECT_THAT(names(), ElementsAre("a.png", "b.png", "d.png"));
}

TEST(Diff, a_difference_image_that_the_format_cannot_keep_is_refused_and_a_real_one_is_not_cut) {
  grey<float>({{-3, kNaN, 1e30, 0}}).write("a.pipe");
  grey<float>({{4, 0, -1e30, 0}}).write("b.pipe");
  grey<float>({{14, kInf, 4e30, 0}}).write("wanted.pipe");
  expect_all({{"diff a.pipe b.pipe -o d.png", 5},
              {"diff -q a.pipe b.pipe -o d.pipe --scale 2", 2},
              {"diff d.pipe wanted.pipe --fail 0 --warn 0", 0}});
  EXPECT_THAT(names(), ElementsAre("a.pipe", "b.pipe", "d.pipe", "wanted.pipe"));
}

TEST(Diff, compares_every_frame_and_every_image) {
  put_bytes("same.gif", gif("0123"));
  put_bytes("third.gif", gif("0103"));
  put_bytes("short.gif", gif("012"));
  put_bytes("broken.gif", gif("01x3"));
  put_bytes("same.pair", "0");
  put_bytes("second.pair", "d");
  expect_all(
      {{"diff same.gif same.gif", 0,
        AllOf(HasSubstr("frame 1: match\n"), HasSubstr("match: 3 more\nMATCH\n"))},
       {"diff same.gif third.gif", 2,
        AllOf(HasSubstr("frame 3: failure\n  mean error    0.666666667\n"), HasSubstr("match: 2 more\n"))},
       {"diff same.gif short.gif", 2,
        AllOf(HasSubstr("4 frames against 3\n"), HasSubstr("match: 2 more\nFAILURE\n"))},
       {"diff same.gif broken.gif", 4},
       {"diff same.pair second.pair", 2,
        AllOf(HasSubstr("image 1: match\n"), HasSubstr("image 2: failure\n"), HasSubstr("column 1, row 0"))}},
      kWithPair);
  const Json told = Json::parse(expect("diff --json same.gif third.gif", 2).out);
  EXPECT_EQ(told["compared"], 4);
  ASSERT_EQ(told["others"].size(), 1U);
  EXPECT_EQ(told["others"][0]["picture"], "frame 3");
}

}  // namespace
}  // namespace orb::testing
