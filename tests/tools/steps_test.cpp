// Steps on the way of an image's rows: operators and sample types, in the order in which they are typed.
#include <cmath>

#include "tool_test.h"

namespace orb::testing {
namespace {

// What a conversion makes of a picture: the first row from the bottom of a grey PAM file, of one or two bytes.
std::vector<int> converted(const std::string& input, const std::string& steps = "") {
  expect("convert " + input + " -f --allow-lossy --to pam -o out.pam " + steps, 0);
  const std::string bytes = bytes_of("out.pam");
  const size_t width = bytes.find("MAXVAL 255\n") == std::string::npos ? 2 : 1;
  std::vector<int> samples;
  for (size_t i = bytes.find("ENDHDR\n") + 7; i < bytes.size(); i += width) {
    samples.push_back(static_cast<uint8_t>(bytes[i]));
    if (width == 2) samples.back() = 256 * samples.back() + static_cast<uint8_t>(bytes[i + 1]);
  }
  return samples;
}

// A grey float picture of one row, as PFM keeps it.
void put_floats(const std::string& path, const std::vector<float>& samples) {
  std::string bytes = "Pf\n" + std::to_string(samples.size()) + " 1\n-1.0\n";
  bytes.append(reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(float));
  put_bytes(path, bytes);
}

Json image_of(const std::string& file) { return json_of("info --json " + file)["files"][0]["images"][0]; }

TEST(Steps, come_in_the_order_in_which_they_are_typed) {
  put_floats("a.pfm", {0.0F, 0.25F, 0.5F, 1.0F});
  // Out of range: held by the type, wrapped by quantizing.
  put_floats("wild.pfm", {-0.5F, 1.5F, std::nanf(""), HUGE_VALF});
  const struct {
    const char* input;
    const char* steps;
    std::vector<int> samples;
  } rows[] = {{"a.pfm", "--quantize 8", {0, 63, 127, 255}},
              {"a.pfm", "-d uint8", {0, 64, 128, 255}},
              {"a.pfm", "--quantize 8 --minmax 0,0.5", {0, 31, 63, 127}},
              {"a.pfm", "-d uint8 --minmax 0.5,1 --minmax 0,0.5", {64, 80, 96, 127}},
              {"a.pfm", "-d uint8 --minmax 0,0.5 --minmax 0.5,1", {128, 144, 160, 191}},
              {"a.pfm", "-d uint16 -d uint8", {0, 64, 128, 255}},
              {"wild.pfm", "-d uint8", {0, 255, 0, 255}},
              {"wild.pfm", "--quantize 8", {256 - 127, 127, 0, 0}}};
  for (const auto& row : rows) EXPECT_EQ(converted(row.input, row.steps), row.samples) << row.steps;
}

TEST(Steps, gamma_of_real_samples_is_exact_and_declared) {
  std::vector<float> samples;
  for (int i = 0; i <= 100; ++i) samples.push_back(static_cast<float>(i) / 100);
  put_floats("a.pfm", samples);
  expect("convert a.pfm --gamma 2.2 --quantize 8 -o a.png", 0);
  const Json curve = image_of("a.png")["curve"];
  EXPECT_NEAR(curve["gamma"].get<double>(), 2.2, 1e-4);
  EXPECT_EQ(curve["assumed"], false);
  const float exponent = image_of("a.pfm")["curve"]["gamma"].get<float>() / 2.2F;
  std::vector<int> expected;
  for (const float sample : samples) {
    expected.push_back(static_cast<uint8_t>(static_cast<int64_t>(std::pow(sample, exponent) * 255.95F)));
  }
  EXPECT_EQ(converted("a.png"), expected);
}

TEST(Steps, that_make_no_sense_or_that_an_image_cannot_take_leave_the_target) {
  const Call rows[] = {{"a.pfm --gamma 0", 2},
                       {"a.pfm --gamma x", 2},
                       {"a.pfm --gamma 1e-50", 2},
                       {"a.pfm -d uint64", 2},
                       {"a.pfm --quantize 33", 2},
                       {"a.pfm --minmax 1", 2},
                       {"a.pfm -d int", 2},
                       {"a.pfm --swatch -1", 2},
                       {"a.pfm --image 0", 2},
                       {"samples/head-rgb-16.png --gamma 2.2", 4},
                       {"samples/head-rgb-16.png -d uint4 --gamma 4", 4},
                       {"samples/head-rgb-16.png --minmax 0,0.5", 4},
                       {"samples/head-rgb-16.png --image 2", 4},
                       {"samples/head-rgb-16.png --merge-fields", 4}};
  for (const Call& row : rows) expect("convert -o a.rla " + row.command, row.status, "", Not(""));
  EXPECT_THAT(names(), ElementsAre());
}

TEST(Steps, deep_pictures_go_through_real_samples) {
  expect_all({{"convert samples/head-rgb-16.png -d double -d uint16 -o same.png"},
              {"diff samples/head-rgb-16.png same.png"},
              {"convert samples/head-rgb-16.png -d float --gamma 1 -o linear.rla"}});
  EXPECT_EQ(image_of("linear.rla")["groups"]["color"]["type"], "float");
  EXPECT_EQ(image_of("linear.rla")["curve"]["gamma"], 1.0);
}

TEST(MergeFields, two_files_become_one_frame_whichever_is_named) {
  expect("convert samples/head-rgb-8.png -o f.0001.rla", 0);
  expect("convert f.0001.rla --minmax 0,0.5 -o f.0002.rla", 0);
  const int field_top = image_of("f.0001.rla")["window"]["top"];
  for (const std::string name : {"f.0001.rla", "f.0002.rla"}) {
    expect("convert --merge-fields -f -o whole.rla " + name, 0);
    EXPECT_EQ(image_of("whole.rla")["window"]["top"], 2 * field_top + 1);
  }
  expect_all({{"merge-fields f.0001.rla f.0002.rla -o verb.rla"},
              {"diff verb.rla whole.rla"},
              {"merge-fields f.0001.rla f.0003.rla -o x.rla", 2},
              {"merge-fields f.#.rla -o m.#.rla"},
              {"diff m.0001.rla whole.rla"}});
}

TEST(MergeFields, are_found_beside_each_other_and_nowhere_else) {
  std::filesystem::create_directory("elsewhere");
  expect_all({{"convert samples/head-rgb-8.png -o s.0001.rla"},
              {"convert samples/head-rgb-8.png -o elsewhere/s.0002.rla"},
              {"convert samples/head-rgb-8.png -o f.01.rla"},
              {"convert samples/head-rgb-8.png -o f.02.rla"},
              {"convert samples/head-rgb-8.png -o e.0001.tiff"},
              {"convert samples/head-rgb-8.png -o e.0002.tiff"}});
  const RunOptions with_folder = {.environment = {"QV_IMG_DIR=elsewhere"}};
  expect({"merge-fields s.0001.rla -o x.rla", 4, "",
          HasSubstr("s.0001.rla: cannot open its other field, s.0002.rla; No such file")},
         with_folder);
  for (const Call& row :
       {Call{"f.01.rla f.02.rla", 2}, Call{"f.01.rla", 4}, Call{"e.0001.tiff e.0002.tiff", 4}}) {
    expect("merge-fields -o x.rla " + row.command, row.status, "", HasSubstr("names such as field.0001.png"));
  }
}

TEST(Mipmap, every_level_is_an_image_of_the_file) {
  expect("convert --mipmap samples/head-rgb-8.png -o photo.rla", 0);
  const Json images = json_of("info --json photo.rla")["files"][0]["images"];
  ASSERT_GT(images.size(), 3u);
  const auto width = [&images](size_t level) { return images[level]["window"]["right"].get<int>() + 1; };
  for (size_t k = 1; k < images.size(); ++k) EXPECT_EQ(width(k), (width(k - 1) + 1) / 2);
  EXPECT_EQ(width(images.size() - 1), 1);
  expect_all({{"convert photo.rla --image 1 -o level.png"},
              {"diff samples/head-rgb-8.png level.png"},
              {"convert photo.rla -o f.0001.rla --mipmap --image 1"},
              {"convert photo.rla -o f.0002.rla --mipmap --image 1"},
              {"merge-fields f.0001.rla --image 3 -o frame.png"},
              {"convert photo.rla --image 2 -f -o level.png"},
              {"convert samples/head-rgb-8.png -o swatch.png --swatch " + std::to_string(width(1))},
              {"diff swatch.png level.png"},  // half a size is half a size
              {"convert --mipmap -n photo.rla --image 1 -o photo.tif", 5, _,
               HasSubstr("tiff cannot store the levels of a mipmap")}});
}

TEST(Curve, prints_plots_and_draws) {
  expect_all({{"curve --gamma 2 --entries 3", 0, "#\tgamma 2\n0\t0.000000\n1\t0.250000\n2\t1.000000\n"},
              {"curve --gamma 2.2 --compose 1.8 --plot", 0, HasSubstr("o from gamma 2.2 to 1.8\n")},
              {"curve --gamma 2.2 --svg -o c.svg"},
              {"curve --gamma -1", 2}});
  EXPECT_THAT(bytes_of("c.svg"), StartsWith("<svg"));
  const Json chained = json_of("curve --gamma 2 --compose 1 --json")["curves"];
  ASSERT_EQ(chained.size(), 3u);
  EXPECT_NEAR(chained[2]["values"][128].get<double>(), std::pow(128 / 255.0, 2), 1e-6);
}

}  // namespace
}  // namespace orb::testing
