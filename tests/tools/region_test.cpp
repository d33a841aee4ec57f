// convert with a region or a pixel layout: which samples come out where, and what counts as a loss.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

constexpr const char* kLayouts[] = {"grey8", "grey16", "rgb8", "rgba8", "rgba16"};

struct Case {
  const char* region;
  ORB_WINDOW rectangle;
};

// A component of a pixel of the region, by the slow way: zeros outside of the window, else the ramp of PipeFile.
int component(const ORB_WINDOW& window, int64_t x, int64_t y, const char* layout, int c) {
  if (x < window.left || x > window.right || y < window.bottom || y > window.top) return 0;
  if (c == 3) return 255;
  return ramp(x - window.left, y - window.bottom, std::strncmp(layout, "grey", 4) == 0 ? 0 : c);
}

std::string expected_row(const ORB_WINDOW& window, const ORB_WINDOW& rectangle, int64_t y,
                         const char* layout) {
  const int components = std::strncmp(layout, "grey", 4) == 0   ? 1
                         : std::strncmp(layout, "rgba", 4) == 0 ? 4
                                                                : 3;
  const bool is_wide = std::strstr(layout, "16") != nullptr;
  std::string row;
  for (int64_t x = rectangle.left; x <= rectangle.right; ++x) {
    for (int c = 0; c < components; ++c) {
      // 8 bits become 16 by the factor 257: the same byte twice.
      row.append(is_wide ? 2 : 1, static_cast<char>(component(window, x, y, layout, c)));
    }
  }
  return row;
}

TEST(Region, every_layout_holds_the_rectangle_with_zeros_outside_of_the_window) {
  const Folder folder;
  const ORB_WINDOW window = {-3, 8, -40, 12};
  const Case cases[] = {{"-3,-40,8,12", window},           {"0,0,4,3", {0, 4, 0, 3}},
                        {"-3,-1,0,6", {-3, 0, -1, 6}},     {"-9,-45,3,2", {-9, 3, -45, 2}},
                        {"2,-30,20,-1", {2, 20, -30, -1}}, {"-9,-45,20,20", {-9, 20, -45, 20}},
                        {"8,12,8,12", {8, 8, 12, 12}},     {"9,13,10,14", {9, 10, 13, 14}}};
  for (const uint32_t orientation : {0U, uint32_t{ORB_BOTTOM_UP}}) {
    PipeFile file;
    file.width = 12;
    file.height = 53;
    file.change = [&](ORB_INFO&, ORB_IFD& image) {
      image.window = image.active_window = window;
      image.orientation = orientation;
    };
    file.write(folder.path("a.pipe"));
    for (size_t i = 0; i < 2 * std::size(cases); ++i) {
      const Case& one = cases[i / 2];
      const char* const layout = kLayouts[(i + (orientation == 0 ? 0 : 2)) % std::size(kLayouts)];
      const Outcome run = orb(folder, {"convert", "-qf", "a.pipe", "-o", "b.png", "--region", one.region,
                                       "--layout", layout, "--drop", "window,active-window,channels"});
      ASSERT_EQ(run.status, 0) << one.region << run.err;
      EXPECT_EQ(run.err, "");
      const Png out = read_png(folder.path("b.png"));
      ASSERT_EQ(out.height, one.rectangle.top - one.rectangle.bottom + 1U);
      for (int64_t y = one.rectangle.bottom; y <= one.rectangle.top; ++y) {
        EXPECT_EQ(out.rows[static_cast<size_t>(one.rectangle.top - y)],
                  expected_row(window, one.rectangle, y, layout))
            << one.region << " " << layout << " row " << y << " orientation " << orientation;
      }
    }
  }
}

TEST(Region, without_a_layout_the_channels_and_samples_of_the_image_are_kept) {
  const Folder folder;
  for (const char* name :
       {"head-grey-8.png", "head-grey-16.png", "head-grey-alpha-8.png", "head-grey-alpha-16.png",
        "head-rgb-8.png", "head-rgb-16.png", "head-rgba-8.png", "head-rgba-16.png"}) {
    const Png whole = read_png(sample(name));
    const Outcome run = orb(folder, {"convert", "-f", sample(name), "-o", "b.png", "--region", "5,7,24,16"});
    ASSERT_EQ(run.status, 0) << run.err;
    const Png part = read_png(folder.path("b.png"));
    EXPECT_EQ(part.color_type, whole.color_type) << name;
    EXPECT_EQ(part.depth, whole.depth) << name;
    const size_t pixel = whole.rows[0].size() / whole.width;
    for (size_t row = 0; row < 10; ++row) {
      EXPECT_EQ(part.rows.at(row), whole.rows[whole.height - 17 + row].substr(5 * pixel, 20 * pixel)) << name;
    }
    EXPECT_NE(orb(folder, {"info", "b.png"}).out.find("columns 5 to 24, rows 7 to 16"), std::string::npos);
  }
}

TEST(Region, what_a_layout_leaves_out_is_a_loss_with_a_name) {
  const Folder folder;
  PipeFile file;
  file.change = [](ORB_INFO&, ORB_IFD& image) {
    image.matte.count = image.aux.count = 1;
    image.color.count = 1;
  };
  file.write(folder.path("depth.pipe"));
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.color = {nullptr, 1, ORB_C_FLOAT, 32}; };
  file.fill = [](void* row, int32_t, int32_t) { std::memset(row, 0, 28); };
  file.write(folder.path("float.pipe"));
  const struct {
    std::string input;
    std::vector<std::string> flags;
    int status;
    const char* text;
  } rows[] = {
      {sample("head-rgba-8.png"), {"--layout", "rgb8"}, 5, "--drop matte"},
      {sample("head-rgba-8.png"), {"--layout", "rgb8", "--drop", "matte"}, 0, ""},
      {sample("head-rgba-8.png"),
       {"--layout", "rgb8", "--allow-lossy"},
       0,
       "warning: b.png: rgb8: the matte"},
      {sample("head-rgba-16.png"), {"--layout", "rgba8"}, 5, "--drop bits"},
      {sample("head-rgba-16.png"), {"--layout", "rgba8", "--drop", "bits"}, 0, ""},
      {sample("head-rgb-8.png"), {"--layout", "grey16"}, 5, "--drop channels"},
      {sample("head-grey-8.png"), {"--layout", "rgba16"}, 0, ""},
      {"depth.pipe", {"--region", "0,0,3,3"}, 5, "--drop aux"},
      {"depth.pipe", {"--region", "0,0,3,3", "--drop", "aux"}, 0, ""},
      {"float.pipe", {"--region", "0,0,3,3"}, 5, "float.pipe: cannot be taken in a pixel layout"},
      {sample("head-rgb-8.png"), {"--region", "3,0,2,5"}, 2, "reversed"},
      {sample("head-rgb-8.png"), {"--region", "0,0,9"}, 2, "no rectangle"},
      {sample("head-rgb-8.png"), {"--region", "0,0,9,9x"}, 2, "no rectangle"},
      {sample("head-rgb-8.png"), {"--region", "0,0,2147483648,9"}, 2, "no rectangle"},
      {sample("head-rgb-8.png"), {"--region", "-2147483648,0,2147483647,0"}, 4, "--limit buffer=SIZE"},
      {sample("head-rgb-8.png"), {"--layout", "rgb10"}, 2, "grey8, grey16, rgb8, rgba8, rgba16"}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"convert", "-f", row.input, "-o", "b.png"};
    arguments.insert(arguments.end(), row.flags.begin(), row.flags.end());
    const Outcome run = orb(folder, arguments);
    EXPECT_EQ(run.status, row.status) << row.input << row.flags[1] << run.err;
    EXPECT_NE(run.err.find(row.text), std::string::npos) << run.err;
    EXPECT_EQ(run.err.empty(), *row.text == '\0') << run.err;
    const std::vector<std::string> names = folder.names();
    EXPECT_EQ(std::count(names.begin(), names.end(), "b.png"), row.status == 0 ? 1 : 0) << row.flags[1];
    std::filesystem::remove(folder.path("b.png"));
  }
}

TEST(Region, is_taken_of_every_frame_of_a_sequence) {
  const Folder folder;
  for (const int height : {5, 8}) {
    PipeFile file;
    file.height = height;
    file.write(folder.path("a.000" + std::to_string(height) + ".pipe"));
  }
  const Outcome run = orb(folder, {"convert", "a.####.pipe", "-o", "b.####.png", "--frames", "5,8", "-j2",
                                   "--region", "1,1,4,3", "--layout", "rgb8"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "") << "the frames are of one size";
  const Png first = read_png(folder.path("b.0005.png"));
  EXPECT_EQ(first, read_png(folder.path("b.0008.png")));
  EXPECT_EQ(first.rows.front(), expected_row({0, 6, 0, 4}, {1, 4, 1, 3}, 3, "rgb8"));
}

}  // namespace
}  // namespace orb::testing
