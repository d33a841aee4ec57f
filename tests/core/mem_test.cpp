// Pictures in memory; and calls without what they need, each refused by its result and code.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "orbbase/core/drivers/drivers.h"
#include "orbbase/core/drivers/mem_store.h"
#include "orbbase/core/internal.h"
#include "orbbase/driver.h"
#include "tests/core/driver_contract.h"
#include "tests/core/picture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/image_owner.h"
#include "tests/support/limit_setting.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

INSTANTIATE_TEST_SUITE_P(Mem, Driver, ::testing::Values("mem"));

// First: the library has not been started before.
TEST(Absent, MemoryKeepsTheLibraryFromStarting) {
  ReportRecorder recorder;
  ORB_INFO info;
  ORB_info_init(&info);
  bool (*const kCalls[])(ORB_INFO&) = {[](ORB_INFO&) { return ORB_find("mem") != nullptr; },
                                       [](ORB_INFO&) { return ORB_info() != nullptr; },
                                       [](ORB_INFO& wanted) { return ORB_open(&wanted, "r") != nullptr; }};
  for (const auto& call : kCalls) {
    const FailAllocation fail(1, FailAllocation::Mode::from_there_on);
    orb__err = 0;
    EXPECT_FALSE(call(info));
    EXPECT_EQ(orb__err, ORB_E_MEMORY);
  }
  EXPECT_NE(ORB_find("mem"), nullptr);
  ORB_exit();
}

class Mem : public ::testing::Test {
 protected:
  ~Mem() override {
    mem_clear();
    ORB_exit();
  }
};

TEST_F(Mem, takes_and_gives_lines_in_any_order_and_shows_unwritten_ones_as_zeros) {
  const Picture picture = Picture("order.mem").window({0, 5, 10, 15}).active({1, 4, 11, 14}).images(4);
  ORB_IMAGE* writer = picture.open("w");
  ASSERT_NE(writer, nullptr);
  for (int32_t image = 0; image < 4; ++image) {  // each behind its own slot
    for (int32_t line : {11, 10, 11}) EXPECT_EQ(write_line(writer, picture, line, image), 0) << line;
  }
  ASSERT_EQ(ORB_close(writer), 0);
  ORB_IMAGE* reader = picture.open("r");
  ASSERT_NE(reader, nullptr);
  for (int32_t image = 3; image >= 0; --image) {
    for (int32_t line : {11, 10, 11}) EXPECT_EQ(compare_line(reader, picture, line, image), "");
  }
  void** rows = nullptr;
  ASSERT_EQ(ORB_scan_read(reader, 12, &rows), 0);
  for (int32_t channel = 0; channel < 3; ++channel)
    EXPECT_EQ(std::memcmp(rows[channel], "\0\0\0\0\0\0", 6), 0);
  ORB_close(reader);
}

TEST_F(Mem, refuses_lines_outside_the_window_and_goes_on) {
  const Picture picture("range.mem");
  ASSERT_EQ(write_whole(picture), 0);
  void** rows = filled_rows(picture, 0, 0);
  for (const char* mode : {"r", "w"}) {
    const Image handle(picture.open(mode));
    ASSERT_NE(handle, nullptr);
    for (int32_t line : {-1, 5, INT32_MIN, INT32_MAX}) {
      ReportRecorder recorder;
      void** out = nullptr;
      EXPECT_EQ(
          *mode == 'r' ? ORB_scan_read(handle.get(), line, &out) : ORB_scan_write(handle.get(), line, rows),
          -2);
      EXPECT_EQ(orb__err, -2);
      EXPECT_EQ(recorder.texts(), "Bad scanline: " + std::to_string(line) +
                                      " (out of range, or not in sequence if a sequential file)");
    }
    EXPECT_EQ(*mode == 'r' ? compare_line(handle.get(), picture, 2) : "", "");
  }
  ORB_chan_free(rows);
}

TEST_F(Mem, shows_an_image_only_when_its_writer_has_closed_and_to_earlier_readers_never) {
  const Picture first = Picture("same.mem").seed(1);
  const Picture second = Picture("same.mem").seed(90).window({3, 20, 0, 1});
  ASSERT_EQ(write_whole(first), 0);
  ORB_IMAGE* early = first.open("r");
  ORB_IMAGE* writer = second.open("w");
  ASSERT_TRUE(early && writer);
  for (int32_t line : {0, 1}) EXPECT_EQ(write_line(writer, second, line), 0);
  EXPECT_EQ(compare_whole(first), "") << "not yet replaced";
  ASSERT_EQ(ORB_close(writer), 0);
  EXPECT_EQ(compare_whole(second), "");
  ORB_IMAGE* late = second.open("r");
  EXPECT_EQ(ORB_mem_remove("same.mem"), 0);
  EXPECT_EQ(ORB_mem_remove("same.mem"), -5);
  EXPECT_EQ(orb__err, -5);
  EXPECT_EQ(compare_line(early, first, 4), "");
  EXPECT_EQ(compare_line(late, second, 1), "");
  EXPECT_EQ(ORB_close(early) + ORB_close(late), 0);
}

TEST_F(Mem, knows_held_names_and_no_streams) {
  ReportRecorder recorder;
  EXPECT_EQ(Picture("known", "mem").open("r"), nullptr);
  EXPECT_EQ(orb__err, -5);
  EXPECT_EQ(recorder.texts(), "Cannot open file known; No such file or directory");
  EXPECT_EQ(ORB_mem_remove(nullptr), -5);
  ASSERT_EQ(write_whole(Picture("known", "mem")), 0);
  EXPECT_EQ(mem_is_file("known", nullptr), 1);
  EXPECT_EQ(mem_is_file("known", stdin), 0);
  EXPECT_EQ(mem_is_file("known.mem", nullptr), 0);
  EXPECT_EQ(mem_is_file(nullptr, nullptr), 0);
}

TEST_F(Mem, refuses_what_no_row_can_hold_and_keeps_what_was_there) {
  const Picture base("r.mem");
  ASSERT_EQ(write_whole(base), 0);
  constexpr const char* kAction = "mem cannot handle the requested action";
  const struct {
    Picture picture;
    int32_t code;
    const char* report;
  } rows[] = {
      {Picture(base).group(&ORB_IFD::color, 1, ORB_C_INTEGER, 33), -16, "image channel width"},
      {Picture(base).group(&ORB_IFD::matte, 0, 7, 8), -16, "matte channel type"},
      {Picture(base).group(&ORB_IFD::aux, 0, ORB_C_INTEGER, 40), -16, "auxiliary channel width"},
      {Picture(base).group(&ORB_IFD::index, 0, ORB_C_FLOAT, 8), -16, "color index channel type"},
      {Picture(base).group(&ORB_IFD::index, 0, ORB_C_INTEGER, 17), -16, "color index channel width"},
      {Picture(base).group(&ORB_IFD::matte, -1, ORB_C_INTEGER, 8), -16, kAction},
      {Picture(base).window({3, 2, 0, 4}), -16, kAction},
      {Picture(base).window({0, 3, 4, 3}), -16, kAction},
      {Picture(base).active({0, 7, 0, 4}), -16, kAction},
      {Picture(base).active({0, 6, -1, 4}), -16, kAction},
      {Picture(base).window({INT32_MIN, INT32_MAX, 0, 0}), -16, kAction},
      {Picture(base).group(&ORB_IFD::aux, 65536, ORB_C_INTEGER, 8), -10, "channels in an image"},
      {Picture(base).window({0, 200000000, 0, 0}).group(&ORB_IFD::aux, 1, ORB_C_DOUBLE, 64), -10,
       "a single buffer"},
      {Picture(base).window({0, 99999, 0, 99999}), -10, "one handle's buffers"},
      {Picture(base).window({0, 0, INT32_MIN, INT32_MAX}), -10, "a single buffer"},
      {[&] {
         Picture none = base;
         none.ifds.clear();
         return none;
       }(),
       -5, "Required field, images, uninitialized"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    ReportRecorder recorder;
    EXPECT_EQ(row.picture.open("w"), nullptr);
    EXPECT_EQ(orb__err, row.code);
    ASSERT_EQ(recorder.reports.size(), 1u);
    EXPECT_NE(recorder.texts().find(row.report), std::string::npos) << recorder.texts();
  }
  EXPECT_EQ(compare_whole(base), "");
}

TEST_F(Mem, holds_rows_against_the_limits_in_force_when_they_are_read) {
  const Picture picture = Picture("limits.mem").window({0, 999, 0, 2}).images(2);
  ASSERT_EQ(write_whole(picture), 0);
  const Image reader(picture.open("r"));
  ASSERT_NE(reader, nullptr);
  const struct {
    int32_t which;
    uint64_t bytes;
    int32_t image;
    const char* report;
  } rows[] = {{ORB_LIMIT_BUFFER, 2000, 0, "a single buffer"},
              {ORB_LIMIT_HANDLE, 4000, 0, ""},  // enough for one image's row, not for two
              {ORB_LIMIT_HANDLE, 4000, 1, "one handle's buffers"}};
  for (const auto& row : rows) {
    ReportRecorder recorder;
    const LimitSetting limit(row.which, row.bytes);
    EXPECT_EQ(compare_line(reader.get(), picture, 0, row.image).ends_with("code -10"), *row.report != 0);
    EXPECT_NE(recorder.texts().find(row.report), std::string::npos) << recorder.texts();
  }
  EXPECT_EQ(compare_line(reader.get(), picture, 1), "") << "the handle goes on";
}

TEST_F(Mem, finds_each_of_thousands_of_images_and_keeps_them_over_the_library_s_end) {
  constexpr int kImages = 3000;
  const auto name = [](int i) { return "many/" + std::to_string(i) + ".mem"; };
  const auto one_pixel = [&](int i) {
    return Picture(name(i)).window({0, 0, 0, 0}).seed(static_cast<uint8_t>(i));
  };
  for (int i = 0; i < kImages; ++i) ASSERT_EQ(write_whole(one_pixel(i)), 0);
  ORB_exit();
  for (int i = 0; i < kImages; ++i) ASSERT_EQ(compare_whole(one_pixel(i)), "") << i;
  for (int i = 0; i < kImages; i += 2) ASSERT_EQ(ORB_mem_remove(name(i).c_str()), 0) << i;
  for (int i = 0; i < kImages; ++i) ASSERT_EQ(mem_holds(name(i).c_str()), i % 2 == 1) << i;
}

TEST_F(Mem, publishes_nothing_when_a_line_found_no_memory) {
  const Picture before = Picture("line.mem").seed(1);
  ASSERT_EQ(write_whole(before), 0);
  const Picture after = Picture(before).seed(2);
  ORB_IMAGE* writer = after.open("w");
  ASSERT_NE(writer, nullptr);
  EXPECT_EQ(write_line(writer, after, 0), 0);
  void** rows = filled_rows(after, 0, 1);
  {
    ReportRecorder recorder;
    FailAllocation fail(1);
    EXPECT_EQ(ORB_scan_write(writer, 1, rows), -10);
  }
  EXPECT_EQ(ORB_scan_write(writer, 1, rows), 0) << "there is memory again, but the image is broken for good";
  ORB_chan_free(rows);
  EXPECT_EQ(ORB_close(writer), -10);
  EXPECT_EQ(orb__err, -10);
  EXPECT_EQ(compare_whole(before), "");
}

// A reader that sees neither of the two pictures has seen a mixture.
TEST_F(Mem, serves_threads_that_publish_read_and_remove_one_name) {
  constexpr int kImagesToSee = 100;  // by each reader; the others go on until it has
  const Picture pictures[] = {Picture("shared.mem").window({0, 63, 0, 7}).seed(1),
                              Picture("shared.mem").window({0, 63, 0, 7}).seed(2)};
  std::atomic<bool> is_mixed = false;
  std::atomic<int> readers_left = 2;
  ORB_init(nullptr, nullptr);
  const auto writer = [&](const Picture& picture) {
    while (readers_left > 0) write_whole(picture);
  };
  const auto reader = [&] {
    for (int seen = 0; seen < kImagesToSee;) {
      const Image handle(pictures[0].open("r"));
      if (!handle) continue;  // removed just now
      std::string differences[2];
      for (int32_t line = 0; line < 8; ++line) {
        for (int i = 0; i < 2; ++i) differences[i] += compare_line(handle.get(), pictures[i], line);
      }
      if (!differences[0].empty() && !differences[1].empty()) is_mixed = true;
      ++seen;
    }
    --readers_left;
  };
  const auto remover = [&] {
    while (readers_left > 0) {
      ORB_mem_remove("shared.mem");
      mem_is_file("shared.mem", nullptr);
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  };
  ReportRecorder recorder;
  std::thread threads[] = {std::thread(writer, pictures[0]), std::thread(writer, pictures[1]),
                           std::thread(reader), std::thread(reader), std::thread(remover)};
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(is_mixed);
}

TEST(Absent, ArgumentsAreRefused) {
  ImageOwner bare = new_handle(ORB_MODE_READ);
  ORB_IMAGE* const image = bare.get();
  const ORB_LAYER_KIND kind = {1001, [](void*, int32_t, void*) { return 0; }, nullptr};
  const ORB_LAYER_KIND scanless = {1001, nullptr, nullptr};
  ORB_LAYER layer = {};
  ORB_RESPONSE_CURVE curve = {};
  ORB_LUT* lut = nullptr;
  ORB_FORMAT half = {};
  half.ui_popup = [](intptr_t) { return 7; };
  char samples[4] = {};
  void* row = samples;
  void** rows = &row;
  const int32_t calls[][2] = {
      {orb__install_layer(nullptr, &kind, &layer), 0},
      {orb__install_layer(image, nullptr, &layer), 0},
      {orb__install_layer(image, &scanless, &layer), 0},
      {orb__install_layer(image, &kind, nullptr), 0},
      {orb__install_layer(image, &kind, &layer), 0},  // its driver has no scan
      {orb__remove_layer(nullptr, 1001), 1},
      {ORB_response_curve_comp(nullptr, &curve, &curve), -1},
      {ORB_response_curve_comp(&curve, nullptr, &curve), -1},
      {ORB_response_curve_comp(&curve, &curve, nullptr), -1},
      {ORB_lut_read(nullptr, &lut), 1},
      {ORB_lut_read(image, &lut), 1},
      {ORB_lut_read(image, nullptr), 1},
      {ORB_private_ui_popup(nullptr, 0), ORB_E_HANDLE},
      {ORB_private_ui_popup(&half, 0), ORB_E_HANDLE},
      {ORB_get_frame(image, 0, 0, 0), ORB_E_HANDLE},
      {orb__chan_copy_1(nullptr, rows, 1, 4), 0},
      {orb__chan_copy_1(rows, nullptr, 1, 4), 0},
  };
  for (const auto& [result, expected] : calls) EXPECT_EQ(result, expected) << "call " << &result - calls[0];
  EXPECT_EQ(ORB_find(nullptr), nullptr);
  EXPECT_EQ(orb__module_text(nullptr, "version"), nullptr);
  EXPECT_EQ(orb__module_text(samples, nullptr), nullptr);
  EXPECT_EQ(ORB_multiframe_open(nullptr), nullptr);
  ORB_multiframe_set(1, 4);
  ORB_INFO info;
  ORB_info_init(&info);
  ORB_multiframe_add(nullptr, &info);
  ORB_multiframe_add(image, nullptr);
  ORB_multiframe_add(image, &info);
  EXPECT_EQ(ORB_multiframe_open(&info), nullptr);
}

// A curve that says it has tables and has none that could be copied is refused, not taken for want of memory.
TEST(Absent, TablesOfACurveAreRefusedByTheOpen) {
  float table[256] = {};
  void* tables[] = {table};
  const ORB_RESPONSE_CURVE curves[] = {{ORB_CURVE_TABLE, 1, 0, 1, 256, ORB_C_INTEGER, 8, nullptr},
                                       {ORB_CURVE_TABLE, 1, 0, 1, 128, ORB_C_INTEGER, 7, tables},
                                       {ORB_CURVE_TABLE, 1, 0, 1, 256, ORB_C_INTEGER, 17, tables},
                                       {ORB_CURVE_TABLE, 1, 0, 0, 256, ORB_C_INTEGER, 8, tables},
                                       {ORB_CURVE_TABLE, 1, 0, 1, 0, ORB_C_INTEGER, 8, tables},
                                       {ORB_CURVE_TABLE, 1, 0, 1, 256, ORB_C_DOUBLE, 8, tables},
                                       {ORB_CURVE_TABLE, 1, 0, 1, 256, ORB_C_FLOAT, 8, nullptr}};
  for (const ORB_RESPONSE_CURVE& curve : curves) {
    Picture picture("curve.mem", "mem");
    picture.ifds[0].curve = curve;
    ReportRecorder recorder;
    EXPECT_EQ(picture.open("w"), nullptr) << curve.depth;
    EXPECT_EQ(orb__err, ORB_E_HANDLE) << curve.depth << " " << curve.resolution;
    EXPECT_EQ(recorder.texts().find("Invalid curve depth") == 0, curve.depth == 7 || curve.depth == 17);
  }
  ORB_exit();
}

}  // namespace
}  // namespace orb::testing
