// The cache of open multi-frame files.
#include <gmock/gmock.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "orbbase/core/internal.h"
#include "orbbase/operators.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/image_owner.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

// Files that the module "multi" takes for pictures, and the library started with it.
class Multiframe : public testing::Test {
 protected:
  Multiframe() {
    for (int last = 0; last < 4; ++last) {
      files_.push_back("up_0_" + std::to_string(last) + ".multi");
      std::ofstream(files_[last]) << "frames";
    }
  }
  ~Multiframe() override { ORB_multiframe_set(0, 0); }

  ORB_IMAGE* open(int file, ORB_CAP_SETTING** settings = nullptr) {
    Description wanted(files_[file].c_str());
    wanted.info.settings = settings;
    return wanted.open("r");
  }
  void open_and_close(int file) { EXPECT_EQ(ORB_close(open(file)), 0); }

  // The files in the cache with their use counts, from least to most recently used: "0:1 2:0".
  static std::string cached() {
    std::string all;
    for (const ORB_MULTIFRAME_ENTRY* entry : orb::multiframe_entries()) {
      all += (all.empty() ? "" : " ") + std::string(1, entry->file_name[5]) + ":";
      all += std::to_string(entry->use_count);
    }
    return all;
  }
  int opens() { return plugins_[0].variable<int32_t>("testOpens"); }
  int closes() { return plugins_[0].variable<int32_t>("testCloses"); }

  Plugins plugins_{"multi", "good"};
  std::vector<std::string> files_;
};

TEST_F(Multiframe, keeps_files_open_up_to_its_limit_and_closes_the_least_recently_used_idle_one) {
  const struct {
    const char* steps;  // "+2" opens the file 2, "-2" closes it once, "2" does both; "=3" sets the limit
    const char* cached;
    int opens, closes;
  } rows[] = {{"+0 +0", "0:2", 1, 0},
              {"+0 +0 -0", "0:1", 1, 0},
              {"+0 +0 -0 -0", "0:0", 1, 0},  // idle, still open
              {"0 +0", "0:1", 1, 0},
              {"0 1 2 0", "1:0 2:0 0:0", 3, 0},
              {"=3 0 1 2", "1:0 2:0", 3, 1},
              {"=3 1 2 +1 3", "1:1 3:0", 3, 1},  // one in use does not go
              {"=1 0", "", 1, 1},
              {"=-5 0", "", 1, 1},
              {"=2 +0 +1 +2", "0:1 1:1 2:1", 3, 0},  // in use: over the limit without harm
              {"=2 +0 +1 +2 -0 -1 -2", "2:0", 3, 2},
              {"=3 0 1 +2 +3", "1:0 2:1 3:1", 4, 1},  // room for a new one takes one idle one
              {"+0 1 =9", "", 2, 1},                  // closes the idle and forgets those in use
              {"+0 1 =9 -0", "", 2, 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.steps);
    ORB_multiframe_set(1, 15);
    const int opens_before = opens(), closes_before = closes();
    std::vector<ORB_IMAGE*> used[4];
    std::istringstream steps(row.steps);
    for (std::string step; steps >> step;) {
      const int number = std::stoi(step.substr(step.find_first_of("-0123456789") + (step[0] == '-')));
      if (step[0] == '=') {
        ORB_multiframe_set(1, number);
        continue;
      }
      if (step[0] != '-') used[number].push_back(open(number));
      EXPECT_EQ(used[number].front(), used[number].back()) << "one handle for one file";
      if (step[0] == '+') continue;
      EXPECT_EQ(ORB_close(used[number].back()), 0);
      used[number].pop_back();
    }
    EXPECT_EQ(cached(), row.cached);
    EXPECT_EQ(opens() - opens_before, row.opens);
    EXPECT_EQ(closes() - closes_before, row.closes);
    for (const auto& handles : used) {
      for (ORB_IMAGE* handle : handles) EXPECT_EQ(ORB_close(handle), 0);
    }
  }
  ORB_IMAGE* first = open(0);
  open_and_close(1);
  orb::close_multiframe_entry(first);
  EXPECT_EQ(cached(), "1:0");
  orb::close_multiframe_entry(nullptr);  // all
  EXPECT_EQ(cached(), "");
  ORB_multiframe_set(0, 15);
  open_and_close(1);
  EXPECT_EQ(cached(), "");
  EXPECT_EQ(opens(), closes());
  EXPECT_EQ(ORB_multiframe_set_closed(nullptr), 0);
}

// Whoever opens the file next reads what the file holds.
TEST_F(Multiframe, idle_files_have_no_operators) {
  ORB_IMAGE* first = open(0);
  open(0);
  const ORB_SCAN_FN scan = first->scan;
  ORB__minmax(first, 0.25, 0.75);
  ORB_close(first);
  EXPECT_NE(first->scan, scan);  // somebody has it open still
  ORB_close(first);
  EXPECT_EQ(first->scan, scan);
  EXPECT_EQ(first->layers, nullptr);
}

TEST_F(Multiframe, opens_an_idle_file_afresh_when_it_changed_by_a_nanosecond) {
  namespace fs = std::filesystem;
  open_and_close(0);
  fs::last_write_time(files_[0], fs::last_write_time(files_[0]) - std::chrono::hours(1));
  open_and_close(0);
  EXPECT_EQ(opens(), 2);
  EXPECT_EQ(closes(), 1);
  for (int64_t ORB_MULTIFRAME_ENTRY::*part :
       {&ORB_MULTIFRAME_ENTRY::file_time, &ORB_MULTIFRAME_ENTRY::file_time_nanoseconds}) {
    orb::multiframe_entries()[0]->*part += 1;
    open_and_close(0);
  }
  EXPECT_EQ(opens(), 4);
  EXPECT_EQ(cached(), "0:0");
}

TEST_F(Multiframe, hands_out_a_changed_file_that_is_in_use) {
  ORB_IMAGE* image = open(0);
  std::remove(files_[0].c_str());
  ReportRecorder recorder;
  EXPECT_EQ(open(0), image);
  EXPECT_THAT(recorder.texts(), testing::HasSubstr(files_[0]));  // its status could not be read
  ORB_close(image);
  ORB_close(image);
  EXPECT_EQ(cached(), "0:0");
  open_and_close(0);  // the module opens it all the same; without a status it is not kept
  EXPECT_EQ(cached(), "");
  EXPECT_EQ(opens(), 2);
  EXPECT_EQ(closes(), 2);
}

TEST_F(Multiframe, keeps_opens_with_different_settings_apart_and_writers_and_single_frames_out) {
  ORB_IMAGE* images[] = {open(3), open(3, one_setting(7)), open(3, one_setting(4)), open(3, one_setting(7))};
  EXPECT_EQ(cached(), "3:1 3:1 3:2");
  EXPECT_EQ(images[1], images[3]);
  for (const int line : {0, 1}) ASSERT_EQ(read_sample(images[2], line), line);
  testing::internal::CaptureStderr();
  ORB_seek(&images[2], 0);  // which opens it again, by way of the cache
  testing::internal::GetCapturedStderr();
  ASSERT_TRUE(images[2] && images[2]->info.settings);
  EXPECT_EQ(images[2]->info.settings[0]->value.integer, 4);
  for (ORB_IMAGE* image : images) ORB_close(image);
  ORB_multiframe_set(1, 15);
  EXPECT_EQ(ORB_close(Description("up_0_3.good").open("r")), 0);
  EXPECT_EQ(ORB_close(Description("written.multi").rows(0, 1).open("w")), 0);
  EXPECT_EQ(cached(), "");
  EXPECT_EQ(opens(), closes());
}

TEST_F(Multiframe, open_survives_the_failure_of_any_allocation) {
  ReportRecorder recorder;
  bool has_failed = true;
  for (int nth = 1; has_failed; ++nth) {
    orb::close_multiframe_entry(nullptr);
    EXPECT_EQ(opens(), closes()) << nth;
    ORB_CAP_SETTING** settings = one_setting(2);
    const FailAllocation fail(nth);
    const Image image(open(0, settings));  // cached or not, it is open and usable
    has_failed = fail.happened();
    EXPECT_EQ(orb__err, image ? 0 : ORB_E_MEMORY) << nth;
    if (!image) orb::free_settings(settings);
  }
  EXPECT_EQ(cached(), "0:0");
}

TEST_F(Multiframe, threads_share_files_through_the_cache) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([this, thread] {
      for (int round = 0; round < 100; ++round) open_and_close((thread + round) % 3);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(opens(), 3);
  EXPECT_EQ(closes(), 0);
}

}  // namespace
