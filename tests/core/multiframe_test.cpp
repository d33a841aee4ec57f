// The cache of open multi-frame files.
#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "orbbase/core/internal.h"
#include "orbbase/operators.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::Description;
using orb::testing::FailAllocation;
using orb::testing::one_setting;
using orb::testing::Plugins;
using orb::testing::ReportRecorder;

// Files that the module "multi" takes for pictures, and the library started with it and this limit.
class Multiframe : public testing::Test {
 protected:
  Multiframe() {
    for (int last = 0; last < 4; ++last) {
      files_.push_back("up_0_" + std::to_string(last) + ".multi");
      write(last);
    }
  }
  ~Multiframe() override {
    ORB_multiframe_set(0, 0);
    for (const std::string& file : files_) std::remove(file.c_str());
  }

  void write(int file) { std::ofstream(files_[file]) << "frames"; }
  void remove(int file) { std::remove(files_[file].c_str()); }

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
      if (!all.empty()) all += ' ';
      all += entry->file_name[5];
      all += ':';
      all += std::to_string(entry->use_count);
    }
    return all;
  }
  int opens() { return plugins_[0].variable<int32_t>("testOpens"); }
  int closes() { return plugins_[0].variable<int32_t>("testCloses"); }

  Plugins plugins_{"multi", "good"};
  std::vector<std::string> files_;
};

// Whoever opens the file next reads what the file holds.
TEST_F(Multiframe, idle_files_have_no_operators) {
  ORB_IMAGE* first = open(0);
  open(0);
  const ORB_SCAN_FN scan = first->scan;
  ORB__minmax(first, 0.25, 0.75);
  EXPECT_NE(first->scan, scan);
  ORB_close(first);
  EXPECT_NE(first->scan, scan);  // somebody has it open still
  ORB_close(first);
  EXPECT_EQ(cached(), "0:0");
  EXPECT_EQ(first->scan, scan);
  EXPECT_EQ(first->layers, nullptr);
}

TEST_F(Multiframe, hands_out_one_handle_for_one_file) {
  ORB_IMAGE* first = open(0);
  ORB_IMAGE* second = open(0);
  EXPECT_EQ(first, second);
  EXPECT_EQ(cached(), "0:2");
  EXPECT_EQ(ORB_close(first), 0);
  EXPECT_EQ(cached(), "0:1");
  EXPECT_EQ(ORB_close(second), 0);
  EXPECT_EQ(cached(), "0:0");  // idle, still open
  EXPECT_EQ(open(0), first);
  EXPECT_EQ(opens(), 1);
  EXPECT_EQ(closes(), 0);
  ORB_close(first);
}

TEST_F(Multiframe, moves_what_is_opened_again_to_the_most_recently_used_end) {
  open_and_close(0);
  open_and_close(1);
  open_and_close(2);
  open_and_close(0);
  EXPECT_EQ(cached(), "1:0 2:0 0:0");
}

TEST_F(Multiframe, closes_idle_files_while_there_are_as_many_as_the_limit) {
  ORB_multiframe_set(1, 3);
  for (const int file : {0, 1, 2}) open_and_close(file);
  EXPECT_EQ(cached(), "1:0 2:0");
  EXPECT_EQ(closes(), 1);
  ORB_IMAGE* used = open(1);
  open_and_close(3);
  EXPECT_EQ(cached(), "1:1 3:0");  // the least recently used idle one went, and one in use does not go
  ORB_close(used);
  ORB_multiframe_set(1, 1);
  open_and_close(0);
  EXPECT_EQ(cached(), "");
  ORB_multiframe_set(1, -5);
  open_and_close(0);
  EXPECT_EQ(cached(), "");
  EXPECT_EQ(opens(), closes());
}

TEST_F(Multiframe, makes_room_for_a_new_file_by_closing_one_idle_file) {
  ORB_multiframe_set(1, 2);
  ORB_IMAGE* images[3] = {open(0), open(1), open(2)};
  EXPECT_EQ(cached(), "0:1 1:1 2:1");  // in use: over the limit without harm
  for (ORB_IMAGE* image : images) ORB_close(image);
  EXPECT_EQ(cached(), "2:0");
  ORB_multiframe_set(1, 3);
  for (const int file : {0, 1}) open_and_close(file);
  ORB_IMAGE* used[2] = {open(2), open(3)};
  EXPECT_EQ(cached(), "1:0 2:1 3:1");
  for (ORB_IMAGE* image : used) ORB_close(image);
}

TEST_F(Multiframe, opens_an_idle_file_afresh_when_it_changed) {
  open_and_close(0);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));  // for systems that count seconds
  write(0);
  open_and_close(0);
  EXPECT_EQ(opens(), 2);
  EXPECT_EQ(closes(), 1);
  EXPECT_EQ(cached(), "0:0");
}

TEST_F(Multiframe, tells_times_of_change_apart_to_the_nanosecond) {
  int expected = 1;
  for (int64_t ORB_MULTIFRAME_ENTRY::*part :
       {&ORB_MULTIFRAME_ENTRY::file_time, &ORB_MULTIFRAME_ENTRY::file_time_nanoseconds}) {
    open_and_close(0);
    EXPECT_EQ(opens(), expected++);
    orb::multiframe_entries()[0]->*part += 1;
  }
  open_and_close(0);
  EXPECT_EQ(opens(), expected);
}

TEST_F(Multiframe, hands_out_a_changed_file_that_is_in_use) {
  ORB_IMAGE* image = open(0);
  remove(0);
  ReportRecorder recorder;
  EXPECT_EQ(open(0), image);
  EXPECT_THAT(recorder.texts(), testing::HasSubstr(files_[0]));  // its status could not be read
  ORB_close(image);
  ORB_close(image);
  EXPECT_EQ(cached(), "0:0");
  ReportRecorder again;
  open_and_close(0);  // the module opens it all the same; without a status it is not kept
  EXPECT_EQ(cached(), "");
  EXPECT_EQ(opens(), 2);
  EXPECT_EQ(closes(), 2);
}

TEST_F(Multiframe, tells_opens_with_different_settings_apart) {
  ORB_IMAGE* plain = open(0);
  ORB_IMAGE* three = open(0, one_setting(3));
  ORB_IMAGE* four = open(0, one_setting(4));
  ORB_IMAGE* three_again = open(0, one_setting(3));
  EXPECT_EQ(cached(), "0:1 0:1 0:2");
  EXPECT_EQ(three, three_again);
  EXPECT_NE(three, four);
  EXPECT_NE(three, plain);
  for (ORB_IMAGE* image : {plain, three, four, three_again}) ORB_close(image);
}

TEST_F(Multiframe, keeps_writers_and_single_frame_files_out) {
  Description single("up_0_3.good");
  EXPECT_EQ(ORB_close(single.open("r")), 0);
  Description writer("written.multi");
  EXPECT_EQ(ORB_close(writer.rows(0, 1).open("w")), 0);
  EXPECT_EQ(cached(), "");
  EXPECT_EQ(closes(), 1);
}

TEST_F(Multiframe, set_closes_idle_files_and_forgets_those_in_use) {
  ORB_IMAGE* used = open(0);
  open_and_close(1);
  ORB_multiframe_set(1, 15);
  EXPECT_EQ(cached(), "");
  EXPECT_EQ(closes(), 1);
  EXPECT_EQ(ORB_close(used), 0);
  EXPECT_EQ(closes(), 2);
  ORB_multiframe_set(0, 15);
  open_and_close(1);
  EXPECT_EQ(cached(), "");
  EXPECT_EQ(closes(), 3);
  EXPECT_EQ(ORB_multiframe_set_closed(nullptr), 0);
}

TEST_F(Multiframe, closes_one_entry_or_all) {
  ORB_IMAGE* first = open(0);
  open_and_close(1);
  open_and_close(2);
  orb::close_multiframe_entry(first);
  EXPECT_EQ(cached(), "1:0 2:0");
  orb::close_multiframe_entry(nullptr);
  EXPECT_EQ(cached(), "");
  EXPECT_EQ(closes(), 3);
}

TEST_F(Multiframe, seeks_back_by_way_of_the_cache_without_losing_the_settings) {
  ORB_IMAGE* image = open(3, one_setting(7));
  ASSERT_EQ(orb::testing::read_sample(image, 0), 0);
  ASSERT_EQ(orb::testing::read_sample(image, 1), 1);
  testing::internal::CaptureStderr();
  ORB_seek(&image, 0);
  testing::internal::GetCapturedStderr();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(cached(), "3:1");
  ASSERT_NE(image->info.settings, nullptr);
  EXPECT_EQ(image->info.settings[0]->value.integer, 7);
  ORB_close(image);
}

TEST_F(Multiframe, open_survives_the_failure_of_any_allocation) {
  ReportRecorder recorder;
  for (int nth = 1;; ++nth) {
    ORB_CAP_SETTING** settings = one_setting(2);
    FailAllocation fail(nth);
    ORB_IMAGE* image = open(0, settings);
    if (image) {
      EXPECT_EQ(orb__err, 0) << nth;
      EXPECT_EQ(ORB_close(image), 0) << nth;  // cached or not, it was open and usable
    } else {
      EXPECT_EQ(orb__err, ORB_E_MEMORY) << nth;
      orb::free_settings(settings);
    }
    if (!fail.happened()) break;
    orb::close_multiframe_entry(nullptr);
    EXPECT_EQ(opens(), closes()) << nth;
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
