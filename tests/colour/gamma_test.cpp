#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "orbbase/response.h"

namespace {

struct Done {
  void operator()(void* table) const { ORB_gamma_done(table); }
};
template <class T>
using Table = std::unique_ptr<T[], Done>;

TEST(Gamma, tables_have_the_values_worked_out_by_hand) {
  const Table<float> btof(ORB_gamma_btof(2.0f));
  EXPECT_FLOAT_EQ(btof[0], 0.0f);
  EXPECT_FLOAT_EQ(btof[1], 1.0f / 4095);             // the line; the square is 1 / 65025
  EXPECT_FLOAT_EQ(btof[128], 128.0f * 128 / 65025);  // the curve
  EXPECT_FLOAT_EQ(btof[255], 1.0f);

  const Table<uint16_t> linear_btos(ORB_gamma_btos(1.0f));
  EXPECT_EQ(linear_btos[1], 16);      // 16.06
  EXPECT_EQ(linear_btos[128], 2056);  // 2055.53
  const Table<uint16_t> btos(ORB_gamma_btos(2.0f));
  EXPECT_EQ(btos[3], 3);  // the line; the curve is at 0.57
  EXPECT_EQ(btos[255], 4095);

  const Table<uint8_t> linear_tob(ORB_gamma_tob(1.0f));
  EXPECT_EQ(linear_tob[3], 0);
  EXPECT_EQ(linear_tob[9], 1);  // 0.56
  const Table<uint8_t> tob(ORB_gamma_tob(2.0f));
  EXPECT_EQ(tob[3], 3);       // the line; the root is at 6.9
  EXPECT_EQ(tob[1024], 128);  // 127.52
  EXPECT_EQ(tob[4095], 255);

  const Table<float> tof(ORB_gamma_tof(2.0f));
  EXPECT_FLOAT_EQ(tof[3], 3.0f);
  EXPECT_FLOAT_EQ(tof[4095], 254.9f);  // not 255
}

TEST(Gamma, integer_tables_stay_in_their_range_for_any_gamma) {
  const float infinity = std::numeric_limits<float>::infinity();
  for (const float gamma : {0.0f, -0.0f, -2.2f, infinity, -infinity, std::nanf(""), 1e-30f}) {
    const Table<uint16_t> btos(ORB_gamma_btos(gamma));
    const Table<uint8_t> tob(ORB_gamma_tob(gamma));
    const Table<float> btof(ORB_gamma_btof(gamma)), tof(ORB_gamma_tof(gamma));
    for (int i = 0; i < 256; ++i) {
      EXPECT_GE(btos[i], i) << gamma;
      EXPECT_LE(btos[i], 4095) << gamma;
      EXPECT_GE(btof[i], static_cast<float>(i / 4095.0)) << gamma;
    }
    for (int i = 0; i < 4096; ++i) {
      EXPECT_LE(tob[i], i) << gamma;
      EXPECT_LE(tof[i], static_cast<float>(i)) << gamma;
    }
  }
}

}  // namespace
