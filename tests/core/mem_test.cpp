#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "orbbase/core/drivers/drivers.h"
#include "orbbase/core/drivers/mem_store.h"
#include "tests/core/picture.h"
#include "tests/core/whole_description.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

class Mem : public ::testing::Test {
 protected:
  void TearDown() override {
    mem_clear();
    ORB_limit(ORB_LIMIT_BUFFER, uint64_t{1} << 30);
    ORB_limit(ORB_LIMIT_HANDLE, uint64_t{2} << 30);
    ORB_exit();
  }
  static ORB_IMAGE* open(const Picture& picture, const char* mode) {
    ORB_INFO info = picture.info();
    return ORB_open(&info, mode);
  }
};

TEST_F(Mem, gives_back_samples_of_every_group_type_and_width_in_every_window) {
  int number = 0;
  for (const Picture& picture : every_kind_of_picture("all.mem")) {
    SCOPED_TRACE(number++);
    ASSERT_EQ(write_whole(picture), 0);
    ASSERT_EQ(compare_whole(picture), "");
  }
}

TEST_F(Mem, gives_back_the_whole_description_with_curve_tables_and_lookup_table) {
  const Picture picture = Picture("d.mem").no_channels().group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8);
  ASSERT_EQ(write_with_whole_description(picture), 0);
  expect_whole_description(picture);
}

TEST_F(Mem, holds_several_images_each_behind_its_own_slot) {
  const Picture picture = Picture("several.mem").group(&ORB_IFD::matte, 1, ORB_C_FLOAT, 32).images(4);
  ASSERT_EQ(write_whole(picture), 0);
  EXPECT_EQ(compare_whole(picture), "");
}

TEST_F(Mem, takes_and_gives_lines_in_any_order_and_shows_unwritten_ones_as_zeros) {
  const Picture picture = Picture("order.mem").window({0, 5, 10, 15}).active({1, 4, 11, 14});
  ORB_IMAGE* writer = open(picture, "w");
  ASSERT_NE(writer, nullptr);
  for (int32_t line : {14, 11, 15, 13, 10, 11}) EXPECT_EQ(write_line(writer, picture, line), 0) << line;
  ASSERT_EQ(ORB_close(writer), 0);

  ORB_IMAGE* reader = open(picture, "r");
  ASSERT_NE(reader, nullptr);
  for (int32_t line : {13, 15, 11, 10, 14, 13}) EXPECT_EQ(compare_line(reader, picture, line), "");
  void** rows = nullptr;
  ASSERT_EQ(ORB_scan_read(reader, 12, &rows), 0);
  for (int32_t channel = 0; channel < 3; ++channel) {
    EXPECT_EQ(std::memcmp(rows[channel], "\0\0\0\0\0\0", 6), 0) << "line 12 was never written";
  }
  ORB_close(reader);
}

TEST_F(Mem, refuses_lines_outside_the_window_and_goes_on) {
  const Picture picture("range.mem");
  ASSERT_EQ(write_whole(picture), 0);
  for (const char* mode : {"r", "w"}) {
    ReportRecorder recorder;
    ORB_IMAGE* handle = open(picture, mode);
    ASSERT_NE(handle, nullptr);
    void** rows = filled_rows(picture, 0, 0);
    for (int32_t line : {-1, 5, INT32_MIN, INT32_MAX}) {
      recorder.clear();
      void** out = nullptr;
      EXPECT_EQ(*mode == 'r' ? ORB_scan_read(handle, line, &out) : ORB_scan_write(handle, line, rows), -2);
      EXPECT_EQ(orb__err, -2);
      EXPECT_EQ(recorder.texts(), "Bad scanline: " + std::to_string(line) +
                                      " (out of range, or not in sequence if a sequential file)");
    }
    ORB_chan_free(rows);
    EXPECT_EQ(*mode == 'r' ? compare_line(handle, picture, 2) : "", "");
    EXPECT_EQ(ORB_close(handle), 0);
  }
}

TEST_F(Mem, shows_an_image_only_when_its_writer_has_closed_and_to_earlier_readers_never) {
  const Picture first = Picture("same.mem").seed(1);
  const Picture second =
      Picture("same.mem").seed(90).window({3, 20, 0, 1}).group(&ORB_IFD::aux, 1, ORB_C_DOUBLE, 64);
  ASSERT_EQ(write_whole(first), 0);
  ORB_IMAGE* early = open(first, "r");
  ORB_IMAGE* writer = open(second, "w");
  ASSERT_TRUE(early && writer);
  EXPECT_EQ(write_line(writer, second, 0), 0);
  EXPECT_EQ(write_line(writer, second, 1), 0);
  EXPECT_EQ(compare_whole(first), "") << "not yet replaced";
  ASSERT_EQ(ORB_close(writer), 0);
  EXPECT_EQ(compare_whole(second), "");
  ORB_IMAGE* late = open(second, "r");
  EXPECT_EQ(ORB_mem_remove("same.mem"), 0);
  EXPECT_EQ(ORB_mem_remove("same.mem"), -5);
  EXPECT_EQ(orb__err, -5);
  for (int32_t line = 0; line <= 4; ++line) EXPECT_EQ(compare_line(early, first, line), "");
  EXPECT_EQ(compare_line(late, second, 1), "");
  EXPECT_EQ(ORB_close(early), 0);
  EXPECT_EQ(ORB_close(late), 0);
}

TEST_F(Mem, reports_a_name_that_is_not_held) {
  ReportRecorder recorder;
  EXPECT_EQ(open(Picture("nobody.mem"), "r"), nullptr);
  EXPECT_EQ(orb__err, -5);
  EXPECT_EQ(recorder.texts(), "Cannot open file nobody.mem; No such file or directory");
  EXPECT_EQ(ORB_mem_remove("nobody.mem"), -5);
  EXPECT_EQ(ORB_mem_remove(nullptr), -5);
}

TEST_F(Mem, is_file_knows_held_names_and_no_streams) {
  ASSERT_EQ(write_whole(Picture("known", "mem")), 0);
  EXPECT_EQ(mem_is_file("known", nullptr), 1);
  EXPECT_EQ(mem_is_file("known", stdin), 0);
  EXPECT_EQ(mem_is_file("known.mem", nullptr), 0);
  EXPECT_EQ(mem_is_file(nullptr, nullptr), 0);
}

TEST_F(Mem, refuses_what_no_row_can_hold_and_keeps_what_was_there) {
  const Picture good("r.mem");
  ASSERT_EQ(write_whole(good), 0);
  const Picture base("r.mem");
  const struct {
    Picture picture;
    int32_t code;
    const char* report;
  } rows[] = {
      {Picture(base).group(&ORB_IFD::color, 1, ORB_C_INTEGER, 33), -16,
       "mem cannot handle image channel width"},
      {Picture(base).group(&ORB_IFD::matte, 0, 7, 8), -16, "mem cannot handle matte channel type"},
      {Picture(base).group(&ORB_IFD::aux, 0, ORB_C_INTEGER, 40), -16,
       "mem cannot handle auxiliary channel width"},
      {Picture(base).group(&ORB_IFD::index, 0, ORB_C_FLOAT, 8), -16,
       "mem cannot handle color index channel type"},
      {Picture(base).group(&ORB_IFD::index, 0, ORB_C_INTEGER, 17), -16,
       "mem cannot handle color index channel width"},
      {Picture(base).group(&ORB_IFD::matte, -1, ORB_C_INTEGER, 8), -16,
       "mem cannot handle the requested action"},
      {Picture(base).window({3, 2, 0, 4}), -16, "mem cannot handle the requested action"},
      {Picture(base).window({0, 3, 4, 3}), -16, "mem cannot handle the requested action"},
      {Picture(base).active({0, 7, 0, 4}), -16, "mem cannot handle the requested action"},
      {Picture(base).active({0, 6, -1, 4}), -16, "mem cannot handle the requested action"},
      {Picture(base).window({INT32_MIN, INT32_MAX, 0, 0}), -16, "mem cannot handle the requested action"},
      {Picture(base).group(&ORB_IFD::aux, 65536, ORB_C_INTEGER, 8), -10, "channels in an image"},
      {Picture(base).window({0, 200000000, 0, 0}).group(&ORB_IFD::aux, 1, ORB_C_DOUBLE, 64), -10,
       "a single buffer"},
      {Picture(base).window({0, INT32_MAX - 1, 0, INT32_MAX}).group(&ORB_IFD::aux, 60000, ORB_C_DOUBLE, 64),
       -10, "a single buffer"},
      {Picture(base).window({0, 99999, 0, 99999}), -10, "one handle's buffers"},
      {Picture(base).window({0, 9999, 0, 0}).window({0, 0, INT32_MIN, INT32_MAX}), -10, "a single buffer"},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    ReportRecorder recorder;
    EXPECT_EQ(open(rows[i].picture, "w"), nullptr) << i;
    EXPECT_EQ(orb__err, rows[i].code) << i;
    EXPECT_NE(recorder.texts().find(rows[i].report), std::string::npos) << i << ": " << recorder.texts();
    EXPECT_EQ(recorder.reports.size(), 1u) << i;
  }
  ORB_INFO empty = good.info();
  empty.image_count = 0;
  ReportRecorder recorder;
  EXPECT_EQ(ORB_open(&empty, "w"), nullptr);
  EXPECT_EQ(orb__err, -5);
  EXPECT_EQ(recorder.texts(), "Required field, images, uninitialized");
  EXPECT_EQ(compare_whole(good), "");
}

TEST_F(Mem, holds_rows_against_the_limits_in_force_when_they_are_read) {
  const Picture picture = Picture("limits.mem").window({0, 999, 0, 2}).images(2);
  ASSERT_EQ(write_whole(picture), 0);
  ORB_IMAGE* reader = open(picture, "r");
  ASSERT_NE(reader, nullptr);
  ReportRecorder recorder;
  ORB_limit(ORB_LIMIT_BUFFER, 2000);
  EXPECT_EQ(compare_line(reader, picture, 0), "image 0 line 0: code -10");
  EXPECT_NE(recorder.texts().find("a single buffer"), std::string::npos) << recorder.texts();
  recorder.clear();
  ORB_limit(ORB_LIMIT_BUFFER, 4000);
  ORB_limit(ORB_LIMIT_HANDLE, 4000);  // enough for one image's row, not for two
  EXPECT_EQ(compare_line(reader, picture, 0), "");
  EXPECT_EQ(compare_line(reader, picture, 0, 1), "image 1 line 0: code -10");
  EXPECT_NE(recorder.texts().find("one handle's buffers"), std::string::npos) << recorder.texts();
  EXPECT_EQ(compare_line(reader, picture, 1), "") << "the handle goes on";
  EXPECT_EQ(ORB_close(reader), 0);
}

TEST_F(Mem, drops_the_index_group_beside_colours_and_says_so_in_the_handle) {
  const Picture picture = Picture("drop.mem").group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8);
  ORB_IMAGE* writer = open(picture, "w");
  ASSERT_NE(writer, nullptr);
  EXPECT_EQ(writer->info.images[0].index.count, 0);
  ORB_close(writer);
}

TEST_F(Mem, finds_each_of_thousands_of_images_and_keeps_them_over_the_library_s_end) {
  constexpr int kImages = 3000;
  const auto name = [](int i) { return "many/" + std::to_string(i) + ".mem"; };
  for (int i = 0; i < kImages; ++i) {
    ASSERT_EQ(write_whole(Picture(name(i)).window({0, 0, 0, 0}).seed(static_cast<uint8_t>(i))), 0);
  }
  ORB_exit();
  for (int i = 0; i < kImages; ++i) {
    ASSERT_EQ(compare_whole(Picture(name(i)).window({0, 0, 0, 0}).seed(static_cast<uint8_t>(i))), "") << i;
  }
  for (int i = 0; i < kImages; i += 2) ASSERT_EQ(ORB_mem_remove(name(i).c_str()), 0) << i;
  for (int i = 0; i < kImages; ++i) ASSERT_EQ(mem_holds(name(i).c_str()), i % 2 == 1) << i;
}

TEST_F(Mem, never_publishes_a_broken_image_whichever_allocation_of_the_writer_fails) {
  const Picture before = Picture("oom.mem").seed(1);
  const Picture after = Picture("oom.mem").seed(2).images(2);
  ASSERT_EQ(write_whole(before), 0);
  const auto whole = [&after](ORB_IMAGE* writer) {  // all but the open and the close
    int32_t code = 0;
    for (int32_t image = 0; image < 2; ++image) {
      for (int32_t line = 0; line <= after.ifds[static_cast<size_t>(image)].window.top; ++line) {
        void** rows = filled_rows(after, image, line);
        const int32_t line_code = writer->scan(writer->driver[image].data, line, rows);
        ORB_chan_free(rows);
        if (line_code != 0) code = line_code;
      }
    }
    return code;
  };
  // The rows are made outside of the failing stretch: the test's own memory must not run out.
  for (int64_t nth = 1;; ++nth) {
    ReportRecorder recorder;
    ORB_IMAGE* writer = nullptr;
    bool failed = false;
    {
      FailAllocation fail(nth);
      ORB_INFO info = after.info();
      writer = ORB_open(&info, "w");
      failed = fail.happened();
    }
    if (writer && failed) {
      EXPECT_EQ(ORB_close(writer), 0) << "the core could do without that allocation";
    }
    if (!failed) {
      ASSERT_EQ(whole(writer), 0);
      ASSERT_EQ(ORB_close(writer), 0);
      break;
    }
    if (!writer) {
      EXPECT_EQ(orb__err, -10) << nth;
    }
    ASSERT_EQ(write_whole(before), 0);
  }
  EXPECT_EQ(compare_whole(after), "");
}

TEST_F(Mem, publishes_nothing_when_a_line_found_no_memory) {
  const Picture before = Picture("line.mem").seed(1);
  const Picture after = Picture("line.mem").seed(2);
  ASSERT_EQ(write_whole(before), 0);
  ORB_IMAGE* writer = open(after, "w");
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

TEST_F(Mem, survives_the_failure_of_any_allocation_of_a_reader) {
  const Picture picture = Picture("d.mem").no_channels().group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8);
  ASSERT_EQ(write_with_whole_description(picture), 0);
  for (int64_t nth = 1;; ++nth) {
    ReportRecorder recorder;
    FailAllocation fail(nth);
    ORB_IMAGE* reader = open(picture, "r");
    void** rows = nullptr;
    ORB_LUT* lut = nullptr;
    const int32_t code = reader ? ORB_scan_read(reader, 0, &rows) : orb__err;
    const int32_t lut_code = reader ? ORB_lut_read(reader, &lut) : orb__err;
    const bool failed = fail.happened();
    ORB_lut_free(lut);
    if (reader) ORB_close(reader);
    if (!failed) {
      EXPECT_EQ(code, 0);
      EXPECT_EQ(lut_code, 0);
      break;
    }
    EXPECT_TRUE(code == -10 || lut_code != 0) << nth;
  }
  expect_whole_description(picture);
}

TEST_F(Mem, serves_threads_that_publish_read_and_remove_one_name) {
  constexpr int kImagesToSee = 100;  // by each reader; the others go on until it has
  // Every version is of one value throughout: a reader that sees two has seen a mixture.
  const Picture picture = Picture("shared.mem").window({0, 63, 0, 7});
  std::atomic<bool> is_mixed = false;
  std::atomic<int> readers_left = 2;
  ORB_init(nullptr, nullptr);
  const auto writer = [&](uint8_t value) {
    ORB_IFD ifd = picture.ifds[0];
    void** rows = ORB_chan_alloc(&ifd, 64, "test", nullptr);
    for (int c = 0; c < 3; ++c) std::memset(rows[c], value, 64);
    while (readers_left > 0) {
      ORB_IMAGE* handle = open(picture, "w");
      for (int32_t line = 7; line >= 0; --line) ORB_scan_write(handle, line, rows);
      ORB_close(handle);
    }
    ORB_chan_free(rows);
  };
  const auto reader = [&] {
    for (int seen = 0; seen < kImagesToSee;) {
      ORB_IMAGE* handle = open(picture, "r");
      if (!handle) continue;  // removed just now
      int value = -1;
      for (int32_t line = 0; line < 8; ++line) {
        void** rows = nullptr;
        if (ORB_scan_read(handle, line, &rows) != 0) is_mixed = true;
        for (int i = 0; i < 64; ++i) {
          const int found = static_cast<uint8_t*>(rows[1])[i];
          if (value == -1) value = found;
          if (found != value || found == 0) is_mixed = true;
        }
      }
      ORB_close(handle);
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
  std::thread threads[] = {std::thread(writer, uint8_t{17}), std::thread(writer, uint8_t{34}),
                           std::thread(reader), std::thread(reader), std::thread(remover)};
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(is_mixed);
}

}  // namespace
}  // namespace orb::testing
