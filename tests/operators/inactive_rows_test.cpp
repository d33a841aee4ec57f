// Reduced pictures of windows that are far larger than what is active in them: a claim of a few bytes in a file.
#include <gtest/gtest.h>

#include <numeric>

#include "orbbase/imp.h"
#include "tests/operators/operator_image.h"

namespace {

using namespace orb::testing;

constexpr int32_t kActiveLines = 8;

// Lines of which only kActiveLines are active, all samples of those 1.
Image open_mostly_inactive(ORB_WINDOW window, int32_t first_active, bool is_upward) {
  Picture picture = Picture("claim", "mem").window(window).group(&ORB_IFD::color, 1, ORB_C_FLOAT, 32);
  picture.active({window.left, window.right, first_active, first_active + kActiveLines - 1});
  if (!is_upward) picture.top_down();
  picture.ifds[0].curve = gamma_curve(1);
  Image writer = open_to_write(picture);
  Line<float> ones(1, std::vector<float>(window_width(picture.ifds[0]), 1.0F));
  for (int32_t i = 0; i < kActiveLines; ++i) {
    EXPECT_EQ(write_samples(writer.get(), first_active + (is_upward ? i : kActiveLines - 1 - i), ones), 0);
  }
  EXPECT_EQ(ORB_close(writer.release()), 0);
  return open_to_read(picture);
}

double pixels_of(const ORB_WINDOW& window) {
  return (static_cast<double>(window.right) - window.left + 1) *
         (static_cast<double>(window.top) - window.bottom + 1);
}

// The light of a whole image, its lines read in the order of the file.
double light_of(ORB_IMAGE* image, const ORB_WINDOW& window, bool is_upward) {
  double light = 0;
  const auto width = static_cast<size_t>(window.right - window.left + 1);
  for (int32_t i = window.bottom; i <= window.top; ++i) {
    const Line<float> line =
        read_line<float>(image, is_upward ? i : window.top + window.bottom - i, 1, width);
    if (line.empty()) return -1;
    light = std::accumulate(line[0].begin(), line[0].end(), light);
  }
  return light;
}

// At an edge of what is active up to two lines are read one by one.
constexpr size_t kMostReads = kActiveLines + 4;

// Sides are powers of two, of which a pyramid keeps all light.
TEST(InactiveRows, AreNotReadAndCountAsTheZerosTheyAre) {
  constexpr int32_t kTop = (1 << 30) - 1;
  const struct {
    ORB_WINDOW window;
    int32_t first_active;
  } rows[] = {{{0, 0, 0, kTop}, 0},
              {{0, 0, 0, kTop}, 12345677},
              {{0, 0, 0, kTop}, kTop + 1 - kActiveLines},
              {{-3, 4, INT32_MIN, -1}, INT32_MIN + 4097},
              {{0, 7, -64, 63}, -1}};
  for (const auto& row : rows) {
    for (const IMP_PROCESS& process :
         {IMP_PROCESS{"swatch", 7, 0, 0, nullptr}, IMP_PROCESS{"mipmap", 0, 0, 0, nullptr}}) {
      for (const bool is_upward : {true, false}) {
        SCOPED_TRACE(process.type + std::to_string(row.first_active) + (is_upward ? " upward" : " downward"));
        const Image image = open_mostly_inactive(row.window, row.first_active, is_upward);
        const ORB_WINDOW full = row.window;
        const Watched watched(image.get());
        ASSERT_EQ(IMP_open(image.get(), &process, "r"), image.get());
        if (image->info.image_count > 1) ORB__select(image.get(), image->info.image_count - 1);
        const ORB_WINDOW reduced = image->info.images[0].window;
        const double light = light_of(image.get(), reduced, is_upward);
        EXPECT_LE(watched.read.size(), kMostReads);
        const double active = kActiveLines * pixels_of({full.left, full.right, 0, 0});
        EXPECT_NEAR(light * pixels_of(full) / pixels_of(reduced), active, active * 1e-5);
      }
    }
  }
}

}  // namespace
