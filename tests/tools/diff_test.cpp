// What diff says of two images: its verdicts, its figures, the image of the differences.
#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

using Json = nlohmann::json;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// One row of grey samples of a type, given as numbers.
template <class Sample>
PipeFile grey(const std::vector<double>& samples, uint32_t type, int32_t width_bits) {
  PipeFile file;
  file.width = static_cast<int32_t>(samples.size());
  file.height = 1;
  file.change = [=](ORB_INFO&, ORB_IFD& image) { image.color = {nullptr, 1, type, width_bits}; };
  file.fill = [=](void* row, int32_t, int32_t) {
    for (size_t i = 0; i < samples.size(); ++i)
      static_cast<Sample*>(row)[i] = static_cast<Sample>(samples[i]);
  };
  return file;
}
PipeFile grey8(const std::vector<double>& samples) { return grey<uint8_t>(samples, ORB_C_INTEGER, 8); }
PipeFile grey16(const std::vector<double>& samples) { return grey<uint16_t>(samples, ORB_C_INTEGER, 16); }
PipeFile grey32(const std::vector<double>& samples) { return grey<uint32_t>(samples, ORB_C_INTEGER, 32); }
PipeFile real(const std::vector<double>& samples) { return grey<float>(samples, ORB_C_FLOAT, 32); }
PipeFile twice(const std::vector<double>& samples) { return grey<double>(samples, ORB_C_DOUBLE, 64); }

Outcome diff(const Folder& folder, const std::vector<std::string>& more, const RunOptions& options = {}) {
  std::vector<std::string> arguments = {"diff"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return orb(folder, arguments, options);
}

TEST(Diff, the_verdict_follows_the_thresholds) {
  const Folder folder;
  const std::string step = "0.00392156862745098";  // 1/255
  const struct {
    PipeFile a, b;
    std::vector<std::string> flags;
    int status;
  } rows[] = {
      {grey8({9, 200}), grey8({9, 200}), {"--fail", "0", "--warn", "0"}, 0},
      {grey8({9, 200}), grey8({9, 201}), {}, 2},
      {grey8({9, 200}), grey8({9, 201}), {"--fail", step}, 1},
      {grey8({9, 200}), grey8({9, 201}), {"--fail", step, "--warn", step}, 0},
      {grey8({9, 200}), grey8({9, 201}), {"--fail", "0.0039215", "--warn", step}, 2},
      {grey8({0, 0, 0, 1}), grey8({0, 0, 0, 0}), {"--fail-percent", "25"}, 1},
      {grey8({0, 0, 0, 1}), grey8({0, 0, 0, 0}), {"--fail-percent", "25", "--warn-percent", "25"}, 0},
      {grey8({0, 0, 0, 1}), grey8({0, 0, 0, 0}), {"--fail-percent", "24.9"}, 2},
      {grey8({0, 0, 0, 1}), grey8({0, 0, 0, 0}), {"--fail-percent", "25", "--hard-fail", "0.003"}, 2},
      {grey8({0, 0, 0, 1}), grey8({0, 0, 0, 0}), {"--fail", "1", "--warn", "1", "--hard-fail", step}, 0},
      {grey8({0, 0, 0, 1}), grey8({0, 0, 0, 0}), {"--fail", "1", "--warn", "1", "--hard-warn", "0"}, 1},
      {grey16({1, 40000}), grey16({1, 40001}), {}, 2},
      {grey16({1, 40000}), grey16({1, 40001}), {"--fail", "0.00002", "--warn", "0.00002"}, 0},
      {grey32({4294967295.0}), grey32({4294967294.0}), {}, 0},
      {grey32({4294967295.0}), grey32({4294967294.0}), {"--fail", "0"}, 2},
      {grey8({0, 100, 255}), grey16({0, 25700, 65535}), {"--fail", "0", "--warn", "0"}, 0},
      {grey8({100}), grey16({25701}), {}, 2},
      {grey8({0, 255}), real({0, 1}), {"--fail", "0", "--warn", "0"}, 0},
      {real({1}), real({1.0000005}), {}, 0},
      {real({1}), real({1.0000005}), {"--fail", "0"}, 2},
      {twice({1}), twice({1 + 1e-15}), {"--fail", "0"}, 2},
      {twice({1}), twice({1 + 1e-15}), {}, 0},
      {real({kNaN, kInf, -kInf, 0}), real({kNaN, kInf, -kInf, -0.0}), {"--fail", "0", "--warn", "0"}, 0},
      {real({kNaN}), real({1}), {"--fail", "1000"}, 2},
      {real({1}), real({-kNaN}), {"--fail", "1000"}, 2},
      {real({kInf}), real({-kInf}), {"--fail", "1000"}, 2},
      {real({kInf}), real({3e38}), {"--fail", "1000"}, 2}};
  for (size_t i = 0; i < std::size(rows); ++i) {
    rows[i].a.write(folder.path("a.pipe"));
    rows[i].b.write(folder.path("b.pipe"));
    for (const bool is_swapped : {false, true}) {
      std::vector<std::string> arguments = rows[i].flags;
      arguments.insert(arguments.end(), {is_swapped ? "b.pipe" : "a.pipe", is_swapped ? "a.pipe" : "b.pipe"});
      const Outcome run = diff(folder, arguments);
      EXPECT_EQ(run.status, rows[i].status) << i << "\n" << run.out << run.err;
      const char* const words[] = {"\nMATCH\n", "\nWARNING\n", "\nFAILURE\n"};
      EXPECT_NE(run.out.find(words[rows[i].status]), std::string::npos) << i << run.out;
    }
  }
}

TEST(Diff, figures_are_exact_and_the_place_is_that_of_the_first_image) {
  const Folder folder;
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
    file.write(folder.path(name));
  };
  put("a.pipe", -10, 20, 0, 51);
  put("b.pipe", 0, 0, 102, 51 + 51);
  const Outcome run = diff(folder, {"--json", "--fail", "0.3", "a.pipe", "b.pipe"});
  EXPECT_EQ(run.status, 2);
  const Json found = Json::parse(run.out);
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
  const Folder folder;
  real({kNaN, 2, 0, 0}).write(folder.path("a.pipe"));
  real({1, 3, 0, 0}).write(folder.path("b.pipe"));
  const Json found = Json::parse(diff(folder, {"--json", "a.pipe", "b.pipe"}).out);
  EXPECT_EQ(found["not_finite"], 1);
  EXPECT_NEAR(found["mean_error"].get<double>(), 1.0 / 3, 1e-15);
  EXPECT_EQ(found["max_error"]["value"], "inf");
  EXPECT_EQ(found["max_error"]["a"], "nan");
}

TEST(Diff, what_cannot_be_compared_has_an_exit_status_of_its_own) {
  const Folder folder;
  PipeFile file;
  file.write(folder.path("a.pipe"));
  const std::string whole = bytes_of(folder.path("a.pipe"));
  put_bytes(folder.path("cut.pipe"), whole.substr(0, whole.size() - 1));
  put_bytes(folder.path("bad.pipe"), "bad");
  file.width = 8;
  file.write(folder.path("wide.pipe"));
  const struct {
    const char *a, *b;
    int status;
    const char* result;
    const char* text;
  } rows[] = {{"a.pipe", "wide.pipe", 3, "different sizes", "7 x 5 against 8 x 5\nDIFFERENT SIZES\n"},
              {"a.pipe", "none.pipe", 4, "failed", ""},
              {"none.pipe", "a.pipe", 4, "failed", ""},
              {"a.pipe", "bad.pipe", 4, "failed", ""},
              {"cut.pipe", "a.pipe", 4, "failed", ""}};
  for (const auto& row : rows) {
    const Outcome text = diff(folder, {row.a, row.b, "-o", "d.pipe"});
    EXPECT_EQ(text.status, row.status) << row.a << " " << row.b << text.err;
    EXPECT_EQ(text.out.empty(), *row.text == '\0') << text.out;
    EXPECT_NE(text.out.find(row.text), std::string::npos) << text.out;
    const Json found = Json::parse(diff(folder, {"--json", row.a, row.b}).out);
    EXPECT_EQ(found["result"], row.result);
    EXPECT_EQ(found.contains("error"), row.status == 4);
  }
  for (const std::vector<std::string>& more :
       std::vector<std::vector<std::string>>{{"-", "-"},
                                             {"a.pipe"},
                                             {"a.pipe", "a.pipe", "-o", "-"},
                                             {"--fail", "-1", "a.pipe", "a.pipe"},
                                             {"--warn", "nan", "a.pipe", "a.pipe"},
                                             {"--fail-percent", "101", "a.pipe", "a.pipe"}}) {
    const Outcome run = diff(folder, more);
    EXPECT_EQ(run.status, 2) << more.front();
    EXPECT_EQ(run.out, "") << more.front();
  }
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.pipe", "bad.pipe", "cut.pipe", "wide.pipe"}));
}

TEST(Diff, channels_and_lookup_tables_of_one_image_only_fail) {
  const Folder folder;
  PipeFile file;
  file.write(folder.path("rgb.pipe"));
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.color.count = 1; };
  file.write(folder.path("grey.pipe"));
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.aux = {nullptr, 1, ORB_C_FLOAT, 32}; };
  file.write(folder.path("depth.pipe"));
  for (const int red : {1, 2}) {
    file.change = [red](ORB_INFO& info, ORB_IFD& image) {
      static ORB_LUT* const lut = ORB_lut_alloc(256);
      lut->entries[7].rgba[0] = static_cast<uint16_t>(red);
      info.write_option = reinterpret_cast<uintptr_t>(lut);
      image.color.count = 0;
      image.index = {nullptr, 1, ORB_C_INTEGER, 8};
    };
    file.write(folder.path("index" + std::to_string(red) + ".pipe"));
  }
  const struct {
    const char *a, *b, *failure;
  } rows[] = {{"rgb.pipe", "grey.pipe", "only in rgb.pipe: colour 1, colour 2"},
              {"grey.pipe", "rgb.pipe", "only in rgb.pipe: colour 1, colour 2"},
              {"rgb.pipe", "depth.pipe", "only in depth.pipe: auxiliary 0"},
              {"index1.pipe", "index2.pipe", "the lookup tables differ"},
              {"index1.pipe", "index1.pipe", nullptr}};
  for (const auto& row : rows) {
    const Outcome run = diff(folder, {"--json", row.a, row.b});
    const Json found = Json::parse(run.out);
    EXPECT_EQ(run.status, row.failure == nullptr ? 0 : 2) << row.a << row.b;
    EXPECT_EQ(found["failures"], row.failure == nullptr ? Json::array() : Json{row.failure});
    EXPECT_EQ(found["max_error"]["value"], 0.0);
  }
}

TEST(Diff, images_are_compared_whatever_the_order_of_their_rows) {
  const Folder folder;
  PipeFile file;
  file.height = 40;
  file.write(folder.path("up.pipe"));
  file.fill = [](void* row, int32_t above_bottom, int32_t channel) {
    for (int x = 0; x < 7; ++x) static_cast<uint8_t*>(row)[x] = ramp(x, above_bottom, channel);
    if (above_bottom == 31 && channel == 2) static_cast<uint8_t*>(row)[3] ^= 1;
  };
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.orientation = 0; };
  file.write(folder.path("down.pipe"));
  ASSERT_EQ(orb(folder, {"convert", "up.pipe", "-o", "same.png"}).status, 0);
  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* way;
  } rows[] = {{{"up.pipe", "same.png"}, 0, "same.png: rows: spool"},
              {{"same.png", "up.pipe"}, 0, "up.pipe: rows: spool"},
              {{"up.pipe", "down.pipe"}, 2, "down.pipe: rows: spool"},
              {{"up.pipe", "down.pipe", "--mem", "10"}, 2, "down.pipe: rows: reopen"},
              {{"-", "down.pipe"}, 2, "down.pipe: rows: spool"},
              {{"down.pipe", "-", "--mem", "10"}, 4, ""},
              {{"same.png", "down.pipe"}, 2, "down.pipe: rows: direct"},
              {{"up.pipe", "up.pipe", "-o", "d.png"}, 0, "up.pipe: rows: spool"}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"-v", "--json"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome run = diff(folder, arguments, {bytes_of(folder.path("up.pipe")), {}, false});
    EXPECT_EQ(run.status, row.status) << row.way << run.out << run.err;
    EXPECT_NE(run.err.find(row.way), std::string::npos) << run.err;
    if (row.status != 2) continue;
    const Json found = Json::parse(run.out);
    EXPECT_EQ(found["max_error"]["row"], 31);
    EXPECT_EQ(found["max_error"]["column"], 3);
    EXPECT_EQ(found["over_fail"]["samples"], 1);
  }
}

TEST(Diff, the_difference_image_holds_the_scaled_differences_exactly) {
  const Folder folder;
  write_noise_png(folder.path("a.png"), 60, 9, 8, PNG_COLOR_TYPE_RGB_ALPHA);
  write_noise_png(folder.path("b.png"), 60, 9, 8, PNG_COLOR_TYPE_RGB);
  const Png a = read_png(folder.path("a.png"));
  const Png b = read_png(folder.path("b.png"));
  EXPECT_EQ(diff(folder, {"a.png", "b.png", "-o", "d.png", "--scale", "3"}).status, 2);
  const Png found = read_png(folder.path("d.png"));
  ASSERT_EQ(found.color_type, PNG_COLOR_TYPE_RGB_ALPHA);
  for (size_t y = 0; y < 9; ++y) {
    for (size_t x = 0; x < 60; ++x) {
      for (size_t c = 0; c < 4; ++c) {
        const int of_a = static_cast<uint8_t>(a.rows[y][4 * x + c]);
        const int of_b = c == 3 ? 0 : static_cast<uint8_t>(b.rows[y][3 * x + c]);
        ASSERT_EQ(static_cast<uint8_t>(found.rows[y][4 * x + c]), std::min(255, 3 * std::abs(of_a - of_b)));
      }
    }
  }
  EXPECT_EQ(diff(folder, {"a.png", "b.png", "-o", "d.png"}).status, 4);  // it exists
  EXPECT_EQ(diff(folder, {"a.png", "b.png", "-f", "-n", "-o", "d.png"}).status, 2);
  EXPECT_EQ(read_png(folder.path("d.png")), found);
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.png", "b.png", "d.png"}));
}

TEST(Diff, a_difference_image_that_the_format_cannot_keep_is_refused_and_a_real_one_is_not_cut) {
  const Folder folder;
  real({-3, kNaN, 1e30, 0}).write(folder.path("a.pipe"));
  real({4, 0, -1e30, 0}).write(folder.path("b.pipe"));
  real({14, kInf, 4e30, 0}).write(folder.path("wanted.pipe"));
  EXPECT_EQ(diff(folder, {"a.pipe", "b.pipe", "-o", "d.png"}).status, 5);
  EXPECT_EQ(diff(folder, {"-q", "a.pipe", "b.pipe", "-o", "d.pipe", "--scale", "2"}).status, 2);
  EXPECT_EQ(diff(folder, {"d.pipe", "wanted.pipe", "--fail", "0", "--warn", "0"}).status, 0);
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.pipe", "b.pipe", "d.pipe", "wanted.pipe"}));
}

}  // namespace
}  // namespace orb::testing
