// Closing handles.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "orbbase/core/internal.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::Description;
using orb::testing::FailAllocation;
using orb::testing::Plugins;
using orb::testing::read_sample;
using orb::testing::ReportRecorder;

TEST(Close, returns_the_drivers_result_with_and_without_the_multi_frame_cache) {
  const Plugins none({});
  for (const int32_t cache : {1, 0}) {
    ORB_multiframe_set(cache, 15);
    ORB_IMAGE* image = orb::new_handle(ORB_MODE_WRITE).release();
    image->close = [](ORB_IMAGE* closing) {
      orb__free_obj(closing);
      return int32_t{ORB_E_WRITE};
    };
    EXPECT_EQ(ORB_close(image), ORB_E_WRITE);
  }
}

TEST(Close, without_a_close_function_fails_and_leaves_the_handle_usable) {
  const Plugins none({});
  for (const int32_t cache : {1, 0}) {
    ORB_multiframe_set(cache, 15);
    orb::ImageOwner image = orb::new_handle(ORB_MODE_READ);
    orb::set_error(0);
    EXPECT_EQ(ORB_close(image.get()), ORB_E_HANDLE);
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    // Its lock is free: another thread gets through.
    std::thread([&] {
      void** rows = nullptr;
      EXPECT_EQ(ORB_scan_read(image.get(), 0, &rows), ORB_E_HANDLE);
    }).join();
  }
  EXPECT_EQ(ORB_close(nullptr), ORB_E_HANDLE);
  EXPECT_EQ(ORB_close_do_it(nullptr), ORB_E_HANDLE);
}

TEST(Close, works_after_the_library_has_ended) {
  const Plugins plugins({"good"});
  Description wanted("up_0_9.good");
  ORB_IMAGE* image = wanted.open("r");
  ASSERT_NE(image, nullptr);
  ORB_exit();
  EXPECT_EQ(read_sample(image, 0), 0);
  EXPECT_EQ(ORB_close(image), 0);
  EXPECT_EQ(plugins[0].variable<int32_t>("testCloses"), 1);
}

TEST(Close, needs_no_memory) {
  const Plugins plugins({"good", "multi"});
  const ReportRecorder recorder;  // no such file: the multi-frame cache says so and keeps it out
  for (const char* name : {"up_0_9.good", "up_0_9.multi"}) {
    Description wanted(name);
    ORB_IMAGE* image = wanted.open("r");
    ASSERT_NE(image, nullptr);
    const FailAllocation fail(1, FailAllocation::Mode::from_there_on);
    EXPECT_EQ(ORB_close(image), 0);
    EXPECT_FALSE(fail.happened());
  }
}

TEST(CloseThreads, open_and_close_in_a_storm) {
  const Plugins plugins({"good"});
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([thread] {
      for (int32_t round = 0; round < 300; ++round) {
        const std::string name = "up_0_" + std::to_string(thread * 100 + 50) + ".good";
        Description wanted(name.c_str());
        ORB_IMAGE* image = wanted.open("r");
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
