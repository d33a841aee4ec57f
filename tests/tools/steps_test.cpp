// Steps on the way of an image's rows: operators and sample types, in the order in which they are typed.
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

using Json = nlohmann::json;

// The samples of the first row from the bottom of a grey PAM file, of one or two bytes.
std::vector<int> samples_of(const std::string& bytes) {
  const size_t body = bytes.find("ENDHDR\n") + 7;
  const bool is_wide = bytes.find("MAXVAL 255\n") == std::string::npos;
  std::vector<int> samples;
  for (size_t i = body; i + is_wide < bytes.size(); i += is_wide ? 2 : 1) {
    const auto byte = [&](size_t at) { return static_cast<int>(static_cast<uint8_t>(bytes[at])); };
    samples.push_back(is_wide ? 256 * byte(i) + byte(i + 1) : byte(i));
  }
  return samples;
}

// A grey float picture of one row, as PFM keeps it.
void put_floats(const std::string& path, const std::vector<float>& samples) {
  std::string bytes = "Pf\n" + std::to_string(samples.size()) + " 1\n-1.0\n";
  bytes.append(reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(float));
  put_bytes(path, bytes);
}

TEST(Steps, come_in_the_order_in_which_they_are_typed) {
  const Folder folder;
  put_floats(folder.path("a.pfm"), {0.0F, 0.25F, 0.5F, 1.0F});
  const struct {
    std::vector<std::string> steps;
    std::vector<int> samples;
  } cases[] = {
      {{"--quantize", "8"}, {0, 63, 127, 255}},
      {{"-d", "uint8"}, {0, 64, 128, 255}},
      {{"--quantize", "8", "--minmax", "0,0.5"}, {0, 31, 63, 127}},
      {{"-d", "uint8", "--minmax", "0.5,1", "--minmax", "0,0.5"}, {64, 80, 96, 127}},
      {{"-d", "uint8", "--minmax", "0,0.5", "--minmax", "0.5,1"}, {128, 144, 160, 191}},
      {{"-d", "uint16"}, {0, 16384, 32768, 65535}},
      {{"-d", "uint16", "-d", "uint8"}, {0, 64, 128, 255}},
  };
  for (const auto& c : cases) {
    std::vector<std::string> arguments = {"convert", "a.pfm", "-f", "--allow-lossy",
                                          "--to",    "pam",   "-o", "a.pam"};
    arguments.insert(arguments.end(), c.steps.begin(), c.steps.end());
    const Outcome outcome = orb(folder, arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(samples_of(bytes_of(folder.path("a.pam"))), c.samples) << ::testing::PrintToString(c.steps);
  }
}

TEST(Steps, gamma_of_real_samples_is_exact_and_declared) {
  const Folder folder;
  std::vector<float> samples;
  for (int i = 0; i <= 100; ++i) samples.push_back(static_cast<float>(i) / 100);
  put_floats(folder.path("a.pfm"), samples);
  ASSERT_EQ(orb(folder, {"convert", "a.pfm", "--gamma", "2.2", "--quantize", "8", "-o", "a.png"}).status, 0);
  const Json info = Json::parse(orb(folder, {"info", "--json", "a.png"}).out)["files"][0];
  EXPECT_NEAR(info["images"][0]["curve"]["gamma"].get<double>(), 2.2, 1e-4);
  EXPECT_EQ(info["images"][0]["curve"]["assumed"], false);
  const double file_gamma =
      Json::parse(orb(folder, {"info", "--json", "a.pfm"}).out)["files"][0]["images"][0]["curve"]["gamma"];
  const float exponent = static_cast<float>(file_gamma) / 2.2F;
  ASSERT_EQ(orb(folder, {"convert", "a.png", "--allow-lossy", "--to", "pam", "-o", "a.pam"}).status, 0);
  std::vector<int> expected;
  for (const float sample : samples) {
    const float corrected = sample > 0 ? std::pow(sample, exponent) : sample;
    expected.push_back(static_cast<uint8_t>(static_cast<int64_t>(corrected * 255.95F)));
  }
  EXPECT_EQ(samples_of(bytes_of(folder.path("a.pam"))), expected);
}

TEST(Steps, samples_out_of_range_are_held_by_the_type_and_wrap_by_quantizing) {
  const Folder folder;
  put_floats(folder.path("a.pfm"), {-0.5F, 1.5F, std::nanf(""), HUGE_VALF});
  const auto converted = [&folder](const std::vector<std::string>& step) {
    std::vector<std::string> arguments = {"convert", "a.pfm", "-f", "--allow-lossy",
                                          "--to",    "pam",   "-o", "a.pam"};
    arguments.insert(arguments.end(), step.begin(), step.end());
    EXPECT_EQ(orb(folder, arguments).status, 0);
    return samples_of(bytes_of(folder.path("a.pam")));
  };
  EXPECT_EQ(converted({"-d", "uint8"}), (std::vector<int>{0, 255, 0, 255}));
  EXPECT_EQ(converted({"--quantize", "8"}), (std::vector<int>{256 - 127, 127, 0, 0}));
}

TEST(Steps, that_make_no_sense_are_refused_before_anything_is_read) {
  const Folder folder;
  for (const std::vector<std::string>& step : std::vector<std::vector<std::string>>{{"--gamma", "0"},
                                                                                    {"--gamma", "x"},
                                                                                    {"--gamma", "1e-50"},
                                                                                    {"--quantize", "33"},
                                                                                    {"--minmax", "1"},
                                                                                    {"-d", "uint64"},
                                                                                    {"-d", "int"},
                                                                                    {"--swatch", "-1"},
                                                                                    {"--image", "0"}}) {
    std::vector<std::string> arguments = {"convert", "a.pfm", "-o", "a.rla"};
    arguments.insert(arguments.end(), step.begin(), step.end());
    EXPECT_EQ(orb(folder, arguments).status, 2) << ::testing::PrintToString(step);
  }
}

TEST(Steps, that_an_image_cannot_take_fail_and_leave_the_target) {
  const Folder folder;
  const std::string deep = sample("head-rgb-16.png");
  for (const std::vector<std::string>& step :
       std::vector<std::vector<std::string>>{{"--gamma", "2.2"},
                                             {"-d", "uint4", "--gamma", "4"},
                                             {"--minmax", "0,0.5"},
                                             {"--image", "2"},
                                             {"--merge-fields"}}) {
    std::vector<std::string> arguments = {"convert", deep, "-o", "a.rla"};
    arguments.insert(arguments.end(), step.begin(), step.end());
    const Outcome outcome = orb(folder, arguments);
    EXPECT_EQ(outcome.status, 4) << ::testing::PrintToString(step);
    EXPECT_NE(outcome.err, "");
    EXPECT_TRUE(folder.names().empty());
  }
}

TEST(Steps, deep_pictures_go_through_real_samples) {
  const Folder folder;
  const std::string deep = sample("head-rgb-16.png");
  ASSERT_EQ(orb(folder, {"convert", deep, "-d", "double", "-d", "uint16", "-o", "same.png"}).status, 0);
  EXPECT_EQ(orb(folder, {"diff", deep, "same.png"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", deep, "-d", "float", "--gamma", "1", "-o", "linear.rla"}).status, 0);
  const Json info = Json::parse(orb(folder, {"info", "--json", "linear.rla"}).out)["files"][0]["images"][0];
  EXPECT_EQ(info["groups"]["color"]["type"], "float");
  EXPECT_EQ(info["curve"]["gamma"], 1.0);
}

TEST(MergeFields, two_files_become_one_frame_whichever_is_named) {
  const Folder folder;
  ASSERT_EQ(orb(folder, {"convert", sample("head-rgb-8.png"), "-o", "f.0001.rla"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", "f.0001.rla", "--minmax", "0,0.5", "-o", "f.0002.rla"}).status, 0);
  const Json field = Json::parse(orb(folder, {"info", "--json", "f.0001.rla"}).out)["files"][0]["images"][0];
  for (const char* name : {"f.0001.rla", "f.0002.rla"}) {
    const Outcome outcome = orb(folder, {"convert", "--merge-fields", name, "-f", "-o", "whole.rla"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Json whole = Json::parse(orb(folder, {"info", "--json", "whole.rla"}).out)["files"][0]["images"][0];
    EXPECT_EQ(whole["window"]["top"].get<int>(), 2 * field["window"]["top"].get<int>() + 1);
  }
  EXPECT_EQ(orb(folder, {"merge-fields", "f.0001.rla", "f.0002.rla", "-o", "verb.rla"}).status, 0);
  EXPECT_EQ(orb(folder, {"diff", "verb.rla", "whole.rla"}).status, 0);
  EXPECT_EQ(orb(folder, {"merge-fields", "f.0001.rla", "f.0003.rla", "-o", "x.rla"}).status, 2);
  const Outcome all = orb(folder, {"merge-fields", "f.#.rla", "-o", "m.#.rla"});
  EXPECT_EQ(all.status, 0) << all.err;
  EXPECT_EQ(orb(folder, {"diff", "m.0001.rla", "whole.rla"}).status, 0);
}

TEST(Mipmap, every_level_is_an_image_of_the_file) {
  const Folder folder;
  const std::string photo = sample("head-rgb-8.png");
  const Outcome outcome = orb(folder, {"convert", "--mipmap", photo, "-o", "photo.rla"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const Json images = Json::parse(orb(folder, {"info", "--json", "photo.rla"}).out)["files"][0]["images"];
  ASSERT_GT(images.size(), 3u);
  const auto width = [&images](size_t level) { return images[level]["window"]["right"].get<int>() + 1; };
  for (size_t k = 1; k < images.size(); ++k) EXPECT_EQ(width(k), (width(k - 1) + 1) / 2);
  EXPECT_EQ(width(images.size() - 1), 1);
  ASSERT_EQ(orb(folder, {"convert", "photo.rla", "--image", "1", "-o", "level.png"}).status, 0);
  EXPECT_EQ(orb(folder, {"diff", photo, "level.png"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", "photo.rla", "-o", "f.0001.rla", "--mipmap", "--image", "1"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", "photo.rla", "-o", "f.0002.rla", "--mipmap", "--image", "1"}).status, 0);
  EXPECT_EQ(orb(folder, {"merge-fields", "f.0001.rla", "--image", "3", "-o", "frame.png"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", "photo.rla", "--image", "2", "-f", "-o", "level.png"}).status, 0);
  ASSERT_EQ(orb(folder, {"convert", photo, "--swatch", std::to_string(width(1)), "-o", "swatch.png"}).status,
            0);
  EXPECT_EQ(orb(folder, {"diff", "swatch.png", "level.png"}).status, 0);  // half a size is half a size
}

TEST(Curve, prints_plots_and_draws) {
  const Folder folder;
  EXPECT_EQ(orb(folder, {"curve", "--gamma", "2", "--entries", "3"}).out,
            "#\tgamma 2\n0\t0.000000\n1\t0.250000\n2\t1.000000\n");
  const Json chained =
      Json::parse(orb(folder, {"curve", "--gamma", "2", "--compose", "1", "--json"}).out)["curves"];
  ASSERT_EQ(chained.size(), 3u);
  EXPECT_NEAR(chained[2]["values"][128].get<double>(), std::pow(128 / 255.0, 2), 1e-6);
  const std::string plot = orb(folder, {"curve", "--gamma", "2.2", "--compose", "1.8", "--plot"}).out;
  EXPECT_NE(plot.find("o from gamma 2.2 to 1.8\n"), std::string::npos) << plot;
  ASSERT_EQ(orb(folder, {"curve", "--gamma", "2.2", "--svg", "-o", "c.svg"}).status, 0);
  EXPECT_EQ(bytes_of(folder.path("c.svg")).substr(0, 4), "<svg");
  EXPECT_EQ(orb(folder, {"curve", "--gamma", "-1"}).status, 2);
}

}  // namespace
}  // namespace orb::testing
