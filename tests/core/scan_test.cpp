// Transferring scanlines, and closing.
#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

#include "orbbase/core/internal.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/image_owner.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

// A handle over a block of data of its own, which ends with it.
template <class Data>
ImageOwner handle_over(Data** data_out) {
  ImageOwner image = new_handle(ORB_MODE_READ);
  image->driver = make_zeroed<ORB_DRIVER_BLOCK>(1).release();
  image->driver->data = *data_out = make_zeroed<Data>(1).release();
  return image;
}

TEST(Scan, that_fails_returns_the_drivers_code_and_leaves_the_current_line) {
  const Plugins plugins({"good"});
  const ReportRecorder recorder;
  const Image image(Description("up_0_9.good").open("r"));
  void** rows = nullptr;
  for (const auto& [line, code, current] : {std::array{0, 0, 0}, {5, ORB_E_SCANLINE, 0}, {1, 0, 1}}) {
    EXPECT_EQ(ORB_scan_read(image.get(), line, &rows), code);
    EXPECT_EQ(image->current_line, current);
  }
}

TEST(Scan, without_function_or_data_cannot_be_done) {
  ImageOwner image = new_handle(ORB_MODE_READ);
  void** rows = nullptr;
  const auto all = [&](ORB_IMAGE* of) {
    return std::vector<int32_t>{ORB_scan_read(of, 0, &rows), ORB_scan_write(of, 0, nullptr),
                                ORB_direct_scan_read(of, 0, 1, 2, 3, 4),
                                ORB_direct_scan_write(of, 0, 1, 2, 3, 4)};
  };
  const std::vector<int32_t> none(4, ORB_E_HANDLE);
  set_error(0);
  EXPECT_EQ(all(image.get()), none);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(all(nullptr), none);
  image->scan = [](void*, int32_t, void*) { return 0; };
  image->direct_scan = [](void*, int32_t, intptr_t, intptr_t, intptr_t, intptr_t) { return 0; };
  EXPECT_EQ(all(image.get()), none);  // functions, but no data
  EXPECT_EQ(image->current_line, -1);
}

TEST(Scan, passes_the_direct_scans_arguments_through) {
  char* data = nullptr;
  const ImageOwner image = handle_over(&data);
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
      const Image image(Description(name).open("r"));
      ASSERT_NE(image, nullptr);
      for (int32_t i = 0, line = first; i < 100; ++i, line += step)
        EXPECT_EQ(read_sample(image.get(), line), line);
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
  Data* data = nullptr;
  const ImageOwner image = handle_over(&data);
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

TEST(Close, returns_the_drivers_result_and_without_a_function_leaves_the_handle_usable) {
  const Plugins none({});
  for (const int32_t cache : {1, 0}) {
    ORB_multiframe_set(cache, 15);
    ImageOwner image = new_handle(ORB_MODE_WRITE);
    set_error(0);
    EXPECT_EQ(ORB_close(image.get()), ORB_E_HANDLE);
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    // Its lock is free: another thread gets through.
    std::thread([&] {
      void** rows = nullptr;
      EXPECT_EQ(ORB_scan_read(image.get(), 0, &rows), ORB_E_HANDLE);
    }).join();
    image->close = [](ORB_IMAGE* closing) {
      orb__free_obj(closing);
      return int32_t{ORB_E_WRITE};
    };
    EXPECT_EQ(ORB_close(image.release()), ORB_E_WRITE);
  }
  EXPECT_EQ(ORB_close(nullptr), ORB_E_HANDLE);
  EXPECT_EQ(ORB_close_do_it(nullptr), ORB_E_HANDLE);
}

TEST(Close, needs_no_memory_and_works_after_the_library_has_ended) {
  const Plugins plugins({"good", "multi"});
  const ReportRecorder recorder;  // no such file: the multi-frame cache says so and keeps it out
  for (const bool has_ended : {false, true}) {
    for (const char* name : {"up_0_9.good", "up_0_9.multi"}) {
      ORB_IMAGE* image = Description(name).open("r");
      if (has_ended) ORB_exit();
      if (!image) continue;  // not opened without its plug-in
      EXPECT_EQ(read_sample(image, 0), 0);
      const FailAllocation fail(1, FailAllocation::Mode::from_there_on);
      EXPECT_EQ(ORB_close(image), 0);
      EXPECT_FALSE(fail.happened());
    }
  }
  EXPECT_EQ(plugins[0].variable<int32_t>("testCloses"), 2);
}

TEST(CloseThreads, open_and_close_in_a_storm) {
  const Plugins plugins({"good"});
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([name = "up_0_" + std::to_string(thread * 100 + 50) + ".good"] {
      for (int32_t round = 0; round < 300; ++round) {
        ORB_IMAGE* image = Description(name.c_str()).open("r");
        ASSERT_NE(image, nullptr);
        for (int32_t line = 0; line < round % 5; ++line) EXPECT_EQ(read_sample(image, line), line);
        EXPECT_EQ(ORB_close(image), 0);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(plugins[0].variable<int32_t>("testOpens"), 1200);
  EXPECT_EQ(plugins[0].variable<int32_t>("testCloses"), 1200);
}

}  // namespace
}  // namespace orb::testing
