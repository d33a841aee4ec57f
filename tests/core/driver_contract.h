// What every driver for any image must do, by the extension of its files: included by the tests of each.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <tuple>

#include "orbbase/registry.h"
#include "tests/core/limits_kept.h"
#include "tests/core/picture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/image_owner.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {

// ---- A value of its own in every field

constexpr int32_t kTables = 2, kEntries = 300;

inline char* lent(const char* text) { return const_cast<char*>(text); }

// A value of its own in every field that a driver may store; text8 and text10 are absent.
class WholeDescription {
 public:
  explicit WholeDescription(const Picture& picture) : ifd(picture.ifds[0]), info(picture.info()) {
    static std::string long_text = "\"quoted\"\nwith a second line" + std::string(300000, 't');
    info.text1 = lent("name.im");
    info.text3 = long_text.data();
    info.text4 = lent("");
    info.text5 = lent("host");
    info.text6 = lent("us\xc3\xa9r");
    info.text7 = lent("{0}");
    info.text9 = lent("b");
    info.job_number = 41;
    info.frame_number = -7;
    info.field_value = 3;
    for (int i = 0; i < 12; ++i) info.chromaticity[i] = 0.0625f * static_cast<float>(i + 1);
    info.field_mode = 2;
    info.frame_rate = 24.0f;
    info.words[0] = INT32_MIN;
    info.words[1] = 77;
    info.int_d = -5;
    info.word_e = ORB_ASSUMED_FRAME_RATE;
    info.word_f = 0x8000000000000001u;
    info.frame_count = 12;  // which is never stored

    ifd.image_kind = 4;
    ifd.name = lent("academy");
    ifd.pair_a[0] = 2048;
    ifd.pair_a[1] = -1;
    ifd.pixel_aspect = 1.5f;
    ifd.aspect_kind = 9;
    ifd.index.name = lent("palette");
    ifd.color.name = lent("none");
    for (int32_t i = 0; i < kTables * kEntries; ++i) tables_[i] = static_cast<uint16_t>(i * 3 + 1);
    ifd.curve = {ORB_CURVE_TABLE, 1.75f, 0, kTables, kEntries, ORB_C_INTEGER, 12, pointers_};
    info.images = &ifd;

    for (uint16_t i = 0; i < 5; ++i) entries_[i].rgba[2] = static_cast<uint16_t>(65535 - i);
    info.write_option = reinterpret_cast<uintptr_t>(&lut);
  }
  WholeDescription(const WholeDescription&) = delete;
  WholeDescription& operator=(const WholeDescription&) = delete;

 private:
  uint16_t tables_[kTables * kEntries] = {};
  void* pointers_[kTables] = {tables_, tables_ + kEntries};
  ORB_LUT_ENTRY entries_[5] = {};

 public:
  ORB_LUT lut = {entries_, 3, 5, 0.5f};
  ORB_IFD ifd;
  ORB_INFO info;
};

// Writes a picture of one image under that description.
inline void write_with_whole_description(const Picture& picture) {
  ORB_IMAGE* handle = nullptr;
  {
    WholeDescription lent(picture);  // until the open
    handle = ORB_open(&lent.info, "w");
  }
  ASSERT_NE(handle, nullptr) << orb__err;
  EXPECT_EQ(handle->info.frame_count, 0) << "the handle tells what is stored";
  EXPECT_EQ(handle->info.write_option, 0u);
  for (int32_t line = 0; line <= 4; ++line) EXPECT_EQ(write_line(handle, picture, line), 0);
  EXPECT_EQ(ORB_close(handle), 0);
}

// Reads it, and expects the description of the image and the lookup table, which is read twice.
inline void expect_whole_description(const Picture& picture) {
  const WholeDescription wanted(picture);
  ORB_IMAGE* handle = picture.open("r");
  ASSERT_NE(handle, nullptr);
  ASSERT_EQ(described(handle->info), described(wanted.info));
  EXPECT_EQ(handle->info.frame_count, 0);
  const void* const tables = handle->info.images[0].curve.tables[0];
  EXPECT_EQ(std::memcmp(tables, wanted.ifd.curve.tables[0], sizeof(uint16_t) * kTables * kEntries), 0);

  for (int again = 0; again < 2; ++again) {  // each time a table of the caller's own
    ORB_LUT* lut = nullptr;
    EXPECT_EQ(ORB_lut_read(handle, &lut), 0);
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(std::tuple(lut->entry_count, lut->last_index, lut->scale), std::tuple(5, 3, 0.5f));
    EXPECT_EQ(std::memcmp(lut->entries, wanted.lut.entries, 5 * sizeof(ORB_LUT_ENTRY)), 0);
    lut->entries[4].rgba[2] = 1;
    ORB_lut_free(lut);
  }
  ORB_close(handle);
}

// ---- The tests

class Driver : public ::testing::TestWithParam<const char*> {
 protected:
  ~Driver() override {
    ORB_mem_remove(name.c_str());
    ORB_exit();
  }
  const std::string name = std::string("all.") + GetParam();
  const Picture indexed = Picture(name).no_channels().group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8);
};

TEST_P(Driver, gives_back_samples_of_every_group_type_and_width_in_every_window) {
  int number = 0;
  for (const Picture& picture : every_kind_of_picture(name)) {
    SCOPED_TRACE(number++);
    ASSERT_EQ(write_whole(picture), 0);
    ASSERT_EQ(compare_whole(picture), "");
  }
}

TEST_P(Driver, gives_back_the_whole_description_whichever_allocation_of_a_reader_fails) {
  write_with_whole_description(indexed);
  expect_whole_description(indexed);
  for (int64_t nth = 1;; ++nth) {
    ReportRecorder recorder;
    FailAllocation fail(nth);
    ORB_IMAGE* reader = indexed.open("r");
    void** rows = nullptr;
    ORB_LUT* lut = nullptr;
    const int32_t code = reader ? ORB_scan_read(reader, 0, &rows) : orb__err;
    const int32_t lut_code = reader ? ORB_lut_read(reader, &lut) : orb__err;
    const bool failed = fail.happened();
    ORB_lut_free(lut);
    if (reader) ORB_close(reader);
    EXPECT_EQ(code == -10 || lut_code != 0, failed) << nth;
    if (!failed) break;
  }
  expect_whole_description(indexed);
}

TEST_P(Driver, keeps_to_every_limit) {
  const Picture picture = Picture(name).window({0, 99, 0, 4}).group(&ORB_IFD::matte, 1, ORB_C_FLOAT, 32);
  expect_limits_kept(picture, 100000);
}

TEST_P(Driver, leaves_nothing_of_an_open_for_which_memory_ran_out) {
  ORB_init(nullptr, nullptr);
  bool has_failed = true;
  for (int64_t nth = 1; has_failed; ++nth) {
    ORB_mem_remove(name.c_str());
    std::remove(name.c_str());
    const ReportRecorder recorder;
    const FailAllocation fail(nth);
    const Image writer(Picture(name).open("w"));
    has_failed = fail.happened();
    if (writer) continue;  // the core can do without some texts
    EXPECT_EQ(orb__err, -10) << nth;
    EXPECT_EQ(compare_whole(indexed), "cannot open: code -5") << nth;
  }
}

TEST_P(Driver, drops_the_index_group_beside_colours_and_says_so_in_the_handle) {
  const ReportRecorder recorder;  // a stream closed without its lines
  const Image writer(Picture(name).group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8).open("w"));
  ASSERT_NE(writer, nullptr);
  EXPECT_EQ(writer->info.images[0].index.count, 0);
}

}  // namespace orb::testing
