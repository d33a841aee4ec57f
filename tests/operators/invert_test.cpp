// The operator of the documentation.
#include "docs/operator-template/invert.h"

#include <gtest/gtest.h>

#include "orbbase/operators.h"
#include "tests/operators/operator_image.h"

namespace {

using namespace orb::testing;

TEST(InvertTemplate, ReadsTheNegativeOfTheActiveWindow) {
  const Picture picture = Picture("invert.mem", "mem").window({0, 9, 0, 3}).active({2, 7, 1, 3});
  const Image image = open_written(picture);
  const auto plain = read_line<uint8_t>(image.get(), 2, 3, 10);
  ASSERT_EQ(invert(image.get()), 1);
  ORB__minmax(image.get(), 0, 0.5);
  EXPECT_EQ(invert_remove(image.get()), 0);
  EXPECT_EQ(ORB__minmax_remove(image.get()), 1);
  const auto seen = read_line<uint8_t>(image.get(), 2, 3, 10);
  for (size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(seen[1][i], i >= 2 && i <= 7 ? 255 - plain[1][i] : plain[1][i]) << i;
  }
  EXPECT_EQ(invert_remove(image.get()), 1);
  EXPECT_EQ(read_line<uint8_t>(image.get(), 2, 3, 10), plain);
}

}  // namespace
