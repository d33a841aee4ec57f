#include "tests/core/whole_description.h"

#include <gtest/gtest.h>

#include <cstring>

namespace orb::testing {
namespace {

uint16_t table_entry(int32_t channel, int32_t i) { return static_cast<uint16_t>(i * 3 + channel * 1000 + 1); }

char* lent(const char* text) { return const_cast<char*>(text); }

}  // namespace

int32_t write_with_whole_description(const Picture& picture) {
  ORB_INFO info = picture.info();
  info.text1 = lent("name.im");
  info.text3 = lent("a description, \"quoted\"\nwith a second line");
  info.text4 = lent("");
  info.text5 = lent("host");
  info.text6 = lent("us\xc3\xa9r");
  info.text7 = lent("{0}");
  info.text9 = lent("box");
  info.job_number = 41;
  info.frame_number = -7;
  info.field_value = 3;
  for (int i = 0; i < 12; ++i) info.chromaticity[i] = 0.0625f * static_cast<float>(i + 1);
  info.field_mode = 2;
  info.frame_rate = 24.0f;
  info.words[0] = INT32_MIN;
  info.words[1] = 77;
  info.frame_count = 12;
  info.int_d = -5;
  info.word_e = ORB_ASSUMED_FRAME_RATE;
  info.word_f = 0x8000000000000001u;

  ORB_IFD& ifd = info.images[0];
  ifd.image_kind = 4;
  ifd.name = lent("academy");
  ifd.pair_a[0] = 2048;
  ifd.pair_a[1] = -1;
  ifd.pixel_aspect = 1.5f;
  ifd.aspect_kind = 9;
  ifd.index.name = lent("palette");
  ifd.color.name = lent("none");
  uint16_t tables[2][300];
  void* pointers[2] = {tables[0], tables[1]};
  for (int c = 0; c < 2; ++c) {
    for (int i = 0; i < 300; ++i) tables[c][i] = table_entry(c, i);
  }
  ifd.curve = {ORB_CURVE_TABLE, 1.75f, 0, 2, 300, ORB_C_INTEGER, 12, pointers};

  ORB_LUT* lut = ORB_lut_alloc(5);
  for (uint16_t i = 0; i < 5; ++i) lut->entries[i].rgba[2] = static_cast<uint16_t>(65535 - i);
  lut->last_index = 3;
  lut->scale = 0.5f;
  info.write_option = reinterpret_cast<uintptr_t>(lut);
  ORB_IMAGE* handle = ORB_open(&info, "w");
  ORB_lut_free(lut);  // it was lent until here
  if (!handle) return orb__err;
  EXPECT_EQ(handle->info.frame_count, 0) << "the handle tells what is stored";
  EXPECT_EQ(handle->info.write_option, 0u);
  int32_t code = 0;
  for (int32_t line = ifd.window.bottom; line <= ifd.window.top && code == 0; ++line) {
    code = write_line(handle, picture, line);
  }
  const int32_t close_code = ORB_close(handle);
  return code != 0 ? code : close_code;
}

void expect_whole_description(const Picture& picture) {
  ORB_INFO wanted = picture.info();
  ORB_IMAGE* handle = ORB_open(&wanted, "r");
  ASSERT_NE(handle, nullptr);
  const ORB_INFO& info = handle->info;
  EXPECT_STREQ(info.text1, "name.im");
  EXPECT_STREQ(info.text3, "a description, \"quoted\"\nwith a second line");
  EXPECT_STREQ(info.text4, "");
  EXPECT_STREQ(info.text5, "host");
  EXPECT_STREQ(info.text6, "us\xc3\xa9r");
  EXPECT_STREQ(info.text7, "{0}");
  EXPECT_EQ(info.text8, nullptr) << "absent, and not the word for it";
  EXPECT_STREQ(info.text9, "box");
  EXPECT_EQ(info.text10, nullptr);
  EXPECT_EQ(info.job_number, 41);
  EXPECT_EQ(info.frame_number, -7);
  EXPECT_EQ(info.field_value, 3);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(info.chromaticity[i], 0.0625f * static_cast<float>(i + 1)) << i;
  EXPECT_EQ(info.field_mode, 2);
  EXPECT_EQ(info.frame_rate, 24.0f);
  EXPECT_EQ(info.words[0], INT32_MIN);
  EXPECT_EQ(info.words[1], 77);
  EXPECT_EQ(info.frame_count, 0);
  EXPECT_EQ(info.int_d, -5);
  EXPECT_EQ(info.word_e, uint64_t{ORB_ASSUMED_FRAME_RATE});
  EXPECT_EQ(info.word_f, 0x8000000000000001u);

  ASSERT_EQ(info.image_count, 1);
  const ORB_IFD& ifd = info.images[0];
  EXPECT_EQ(ifd.image_kind, 4);
  EXPECT_STREQ(ifd.name, "academy");
  EXPECT_EQ(ifd.pair_a[0], 2048);
  EXPECT_EQ(ifd.pair_a[1], -1);
  EXPECT_EQ(ifd.pixel_aspect, 1.5f);
  EXPECT_EQ(ifd.aspect_kind, 9);
  EXPECT_STREQ(ifd.index.name, "palette");
  EXPECT_STREQ(ifd.color.name, "none");
  EXPECT_EQ(ifd.matte.name, nullptr);
  EXPECT_EQ(ifd.curve.kind, ORB_CURVE_TABLE);
  EXPECT_EQ(ifd.curve.gamma, 1.75f);
  EXPECT_EQ(ifd.curve.depth, 12);
  ASSERT_EQ(ifd.curve.channel_count, 2);
  ASSERT_EQ(ifd.curve.resolution, 300);
  for (int c = 0; c < 2; ++c) {
    for (int i = 0; i < 300; ++i) {
      ASSERT_EQ(static_cast<uint16_t*>(ifd.curve.tables[c])[i], table_entry(c, i)) << c << ' ' << i;
    }
  }

  for (int again = 0; again < 2; ++again) {  // each time a table of the caller's own
    ORB_LUT* lut = nullptr;
    EXPECT_EQ(ORB_lut_read(handle, &lut), 0);
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(lut->entry_count, 5);
    EXPECT_EQ(lut->last_index, 3);
    EXPECT_EQ(lut->scale, 0.5f);
    EXPECT_EQ(lut->entries[4].rgba[2], 65531);
    EXPECT_EQ(lut->entries[4].rgba[0], 0);
    lut->entries[4].rgba[2] = 1;
    ORB_lut_free(lut);
  }
  ORB_close(handle);
}

}  // namespace orb::testing
