// Transferring scanlines.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "orbbase/core/internal.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::Description;
using orb::testing::Plugins;
using orb::testing::read_sample;
using orb::testing::ReportRecorder;

TEST(Scan, brings_back_what_was_written_in_either_order_of_rows) {
  const Plugins plugins({"good"});
  for (const uint32_t orientation : {1u, 0u}) {
    Description wanted("written.good");
    wanted.rows(-2, 5, orientation);
    const int32_t first = orientation ? -2 : 5;
    const int32_t step = orientation ? 1 : -1;
    ORB_IMAGE* writer = wanted.open("w");
    ASSERT_NE(writer, nullptr);
    for (int32_t i = 0; i < 8; ++i) {
      uint8_t row[4] = {static_cast<uint8_t>(100 + i), 0, 0, 0};
      void* rows[] = {row};
      ASSERT_EQ(ORB_scan_write(writer, first + i * step, rows), 0);
    }
    ORB_close(writer);
    ORB_IMAGE* reader = wanted.open("r");
    ASSERT_NE(reader, nullptr);
    for (int32_t i = 0; i < 8; ++i) {
      EXPECT_EQ(read_sample(reader, first + i * step), 100 + i);
      EXPECT_EQ(reader->current_line, first + i * step);
    }
    ORB_close(reader);
  }
}

TEST(Scan, that_fails_returns_the_drivers_code_and_leaves_the_current_line) {
  const Plugins plugins({"good"});
  ReportRecorder recorder;
  Description wanted("up_0_9.good");
  ORB_IMAGE* image = wanted.open("r");
  ASSERT_EQ(read_sample(image, 0), 0);
  void** rows = nullptr;
  EXPECT_EQ(ORB_scan_read(image, 5, &rows), ORB_E_SCANLINE);
  EXPECT_EQ(image->current_line, 0);
  ORB_close(image);
}

TEST(Scan, without_function_or_data_cannot_be_done) {
  ORB_IMAGE* image = orb::new_handle(ORB_MODE_READ).release();
  ASSERT_NE(image, nullptr);
  void** rows = nullptr;
  const auto all = [&](ORB_IMAGE* of) {
    return std::vector<int32_t>{ORB_scan_read(of, 0, &rows), ORB_scan_write(of, 0, nullptr),
                                ORB_direct_scan_read(of, 0, 1, 2, 3, 4),
                                ORB_direct_scan_write(of, 0, 1, 2, 3, 4)};
  };
  const std::vector<int32_t> none(4, ORB_E_HANDLE);
  orb::set_error(0);
  EXPECT_EQ(all(image), none);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(all(nullptr), none);
  image->scan = [](void*, int32_t, void*) { return 0; };
  image->direct_scan = [](void*, int32_t, intptr_t, intptr_t, intptr_t, intptr_t) { return 0; };
  EXPECT_EQ(all(image), none);  // functions, but no data
  EXPECT_EQ(image->current_line, -1);
  orb__free_obj(image);
}

TEST(Scan, passes_the_direct_scans_arguments_through) {
  orb::ImageOwner image = orb::new_handle(ORB_MODE_READ);
  image->driver = static_cast<ORB_DRIVER_BLOCK*>(ERR_malloc(sizeof(ORB_DRIVER_BLOCK)));
  image->driver->data = ERR_malloc(1);
  image->direct_scan = [](void*, int32_t line, intptr_t a, intptr_t b, intptr_t c, intptr_t d) {
    return line == 12 ? 0 : static_cast<int32_t>(a * 1000 + b * 100 + c * 10 + d);
  };
  EXPECT_EQ(ORB_direct_scan_read(image.get(), 1, 1, 2, 3, 4), 1234);
  EXPECT_EQ(ORB_direct_scan_write(image.get(), 1, 4, 3, 2, 1), 4321);
  EXPECT_EQ(image->current_line, -1);
  EXPECT_EQ(ORB_direct_scan_read(image.get(), 12, 0, 0, 0, 0), 0);
  EXPECT_EQ(image->current_line, 12);
}

TEST(ScanThreads, read_two_handles_at_once) {
  const Plugins plugins({"good"});
  const auto read_all = [](const char* name, int32_t first, int32_t step) {
    for (int round = 0; round < 20; ++round) {
      Description wanted(name);
      ORB_IMAGE* image = wanted.open("r");
      ASSERT_NE(image, nullptr);
      for (int32_t i = 0; i < 100; ++i) EXPECT_EQ(read_sample(image, first + i * step), first + i * step);
      EXPECT_EQ(ORB_close(image), 0);
    }
  };
  std::thread up(read_all, "up_0_99.good", 0, 1);
  std::thread down(read_all, "down_0_99.good", 99, -1);
  up.join();
  down.join();
}

TEST(ScanThreads, of_one_handle_take_turns) {
  // Without the handle's lock, two threads would be inside at once, and the counter would miss some.
  struct Data {
    int32_t transfers;
    bool is_inside;
    bool met;
  };
  orb::ImageOwner image = orb::new_handle(ORB_MODE_READ);
  image->driver = static_cast<ORB_DRIVER_BLOCK*>(ERR_malloc(sizeof(ORB_DRIVER_BLOCK)));
  auto* data = static_cast<Data*>(ERR_malloc(sizeof(Data)));
  *data = {};
  image->driver->data = data;
  image->scan = [](void* driver_data, int32_t, void*) {
    auto* shared = static_cast<Data*>(driver_data);
    shared->met = shared->met || shared->is_inside;
    shared->is_inside = true;
    ++shared->transfers;
    shared->is_inside = false;
    return 0;
  };
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      void** rows = nullptr;
      for (int32_t line = 0; line < 5000; ++line) ORB_scan_read(image.get(), line, &rows);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(data->transfers, 20000);
  EXPECT_FALSE(data->met);
}

}  // namespace
