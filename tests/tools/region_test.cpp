// convert with a region or a pixel layout: which samples come out where, and what counts as a loss.
#include <png.h>

#include "tool_test.h"

namespace orb::testing {
namespace {

// A row of the rectangle, by the slow way: zeros outside of the window, else the ramp of PipeFile.
std::string expected_row(const ORB_WINDOW& window, const ORB_WINDOW& rectangle, int64_t y,
                         const std::string& layout) {
  const bool is_grey = layout.starts_with("grey");
  const int components = is_grey ? 1 : layout.starts_with("rgba") ? 4 : 3;
  std::string row;
  for (int64_t x = rectangle.left; x <= rectangle.right; ++x) {
    const bool is_inside = x >= window.left && x <= window.right && y >= window.bottom && y <= window.top;
    for (int c = 0; c < components; ++c) {
      const int inside = c == 3 ? 255 : ramp(x - window.left, y - window.bottom, is_grey ? 0 : c);
      // 8 bits become 16 by the factor 257: the same byte twice.
      row.append(layout.ends_with("16") ? 2 : 1, static_cast<char>(is_inside ? inside : 0));
    }
  }
  return row;
}

TEST(Region, every_layout_holds_the_rectangle_with_zeros_outside_of_the_window) {
  const ORB_WINDOW window = {-3, 8, -40, 12};
  const ORB_WINDOW rectangles[] = {window,           {0, 4, 0, 3},      {-3, 0, -1, 6}, {-9, 3, -45, 2},
                                   {2, 20, -30, -1}, {-9, 20, -45, 20}, {8, 8, 12, 12}, {9, 10, 13, 14}};
  const std::string layouts[] = {"grey8", "grey16", "rgb8", "rgba8", "rgba16"};
  size_t i = 0;
  for (const uint32_t orientation : {0U, uint32_t{ORB_BOTTOM_UP}}) {
    PipeFile file;
    file.width = 12;
    file.height = 53;
    file.change = [&](ORB_INFO&, ORB_IFD& image) {
      image.window = image.active_window = window;
      image.orientation = orientation;
    };
    file.write("a.pipe");
    for (const ORB_WINDOW& part : rectangles) {
      const std::string& layout = layouts[++i % std::size(layouts)];
      char region[80];
      std::snprintf(region, sizeof region, "%d,%d,%d,%d", part.left, part.bottom, part.right, part.top);
      expect("convert -qf a.pipe -o b.png --drop window,active-window,channels --region " +
                 std::string(region) + " --layout " + layout,
             0, _, "");
      const Png out = read_png("b.png");
      ASSERT_EQ(out.height, part.top - part.bottom + 1U);
      for (int64_t y = part.bottom; y <= part.top; ++y) {
        EXPECT_EQ(out.rows[static_cast<size_t>(part.top - y)], expected_row(window, part, y, layout))
            << region << " " << layout << " row " << y << " orientation " << orientation;
      }
    }
  }
}

TEST(Region, without_a_layout_the_channels_and_samples_of_the_image_are_kept) {
  for (const std::string kind : {"grey-8", "grey-alpha-16", "rgb-16", "rgba-8"}) {
    const Png whole = read_png(sample("head-" + kind + ".png"));
    expect("convert -f -o b.png --region 5,7,24,16 samples/head-" + kind + ".png", 0);
    const Png part = read_png("b.png");
    EXPECT_EQ(part.color_type, whole.color_type) << kind;
    EXPECT_EQ(part.depth, whole.depth) << kind;
    const size_t pixel = whole.rows[0].size() / whole.width;
    for (size_t row = 0; row < 10; ++row) {
      EXPECT_EQ(part.rows.at(row), whole.rows[whole.height - 17 + row].substr(5 * pixel, 20 * pixel)) << kind;
    }
    expect("info b.png", 0, HasSubstr("columns 5 to 24, rows 7 to 16"));
  }
}

TEST(Region, what_a_layout_leaves_out_is_a_loss_with_a_name) {
  PipeFile file;
  file.change = [](ORB_INFO&, ORB_IFD& image) {
    image.matte.count = image.aux.count = image.color.count = 1;
  };
  file.write("depth.pipe");
  grey<float>({{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}}).write("float.pipe");
  const std::string head = "samples/head-";
  const struct {
    std::string arguments;
    int status;
    Text text;
  } rows[] = {
      {head + "rgba-8.png --layout rgb8", 5, HasSubstr("--drop matte")},
      {head + "rgba-8.png --layout rgb8 --allow-lossy", 0, HasSubstr("warning: b.png: rgb8: the matte")},
      {head + "rgba-16.png --layout rgba8", 5, HasSubstr("--drop bits")},
      {head + "rgba-16.png --layout rgba8 --drop bits", 0, ""},
      {head + "rgb-8.png --layout grey16", 5, HasSubstr("--drop channels")},
      {head + "grey-8.png --layout rgba16", 0, ""},
      {"depth.pipe --region 0,0,3,3", 5, HasSubstr("--drop aux")},
      {"float.pipe --region 0,0,3,3", 5, HasSubstr("float.pipe: cannot be taken in a pixel layout")},
      {head + "rgb-8.png --region 3,0,2,5", 2, HasSubstr("reversed")},
      {head + "rgb-8.png --region 0,0,9", 2, HasSubstr("no rectangle")},
      {head + "rgb-8.png --region 0,0,9,9x", 2, HasSubstr("no rectangle")},
      {head + "rgb-8.png --region 0,0,2147483648,9", 2, HasSubstr("no rectangle")},
      {head + "rgb-8.png --region -2147483648,0,2147483647,0", 4, HasSubstr("--limit buffer=SIZE")},
      {head + "rgb-8.png --layout rgb10", 2, HasSubstr("grey8, grey16, rgb8, rgba8, rgba16")}};
  for (const auto& row : rows) {
    expect("convert -o b.png " + row.arguments, row.status, _, row.text);
    EXPECT_EQ(std::filesystem::remove("b.png"), row.status == 0) << row.arguments;
  }
}

TEST(Region, is_taken_of_every_frame_of_a_sequence) {
  for (const int height : {5, 8}) {
    PipeFile file;
    file.height = height;
    file.write("a.000" + std::to_string(height) + ".pipe");
  }
  // The frames are of one size: no word of it.
  expect("convert a.####.pipe -o b.####.png --frames 5,8 -j2 --region 1,1,4,3 --layout rgb8", 0, _, "");
  const Png first = read_png("b.0005.png");
  EXPECT_EQ(first, read_png("b.0008.png"));
  EXPECT_EQ(first.rows.front(), expected_row({0, 6, 0, 4}, {1, 4, 1, 3}, 3, "rgb8"));
}

}  // namespace
}  // namespace orb::testing
