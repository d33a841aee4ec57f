// Frames and playback: what the driver gets, and who is refused.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "orbbase/core/internal.h"
#include "tests/support/picture.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

void* seen_data = nullptr;
std::string seen;

// In any slot.
template <class... Arguments>
int32_t record(void* data, Arguments... arguments) {
  seen_data = data;
  seen.clear();
  ((seen += std::to_string(arguments) + ' '), ...);
  return 41;
}

constexpr intptr_t kWide = INTPTR_MIN;
const std::string kWideText = std::to_string(kWide) + " ";

struct Row {
  ORB_FRAME_FN ORB_IMAGE::*slot;  // null: the slot has a type of its own
  int32_t (*call)(ORB_IMAGE*);
  std::string passed;
  int category;
  const char* refused;
};
const Row kRows[] = {
    {&ORB_IMAGE::get_frame, [](ORB_IMAGE* image) { return ORB_get_frame(image, kWide, 2, -1); },
     kWideText + "2 -1 ", ERR_WARNING, "cannot set the current frame for this multi file; "},
    {&ORB_IMAGE::set_frame, [](ORB_IMAGE* image) { return ORB_set_frame(image, 3, kWide, 4); },
     "3 " + kWideText + "4 ", ERR_WARNING, "cannot set the current frame for this multi file; "},
    {&ORB_IMAGE::playback_bind, [](ORB_IMAGE* image) { return ORB_playback_bind(image, 5, 6, kWide); },
     "5 6 " + kWideText, ERR_ERROR, "cannot bind the playback window for this multi file; "},
    {&ORB_IMAGE::playback_goto, [](ORB_IMAGE* image) { return ORB_playback_goto(image, 7, kWide, 8); },
     "7 " + kWideText + "8 ", ERR_WARNING, "cannot set the playback frame for this multi file "},
    {nullptr,
     [](ORB_IMAGE* image) { return ORB_playback_params(image, kWide, 1, 2, UINT32_MAX, 3, UINT8_MAX, 4, 5); },
     kWideText + "1 2 4294967295 3 255 4 5 ", ERR_WARNING,
     "cannot set the playback parameters for this multi file; "},
    {nullptr, [](ORB_IMAGE* image) { return ORB_playback_play(image, 1, 2, 3, UINT8_MAX, kWide); },
     "1 2 3 255 " + kWideText, ERR_WARNING, "cannot start playback for this multi file; "},
    {&ORB_IMAGE::playback_stop, [](ORB_IMAGE* image) { return ORB_playback_stop(image, 9, 8, kWide); },
     "9 8 " + kWideText, ERR_WARNING, "cannot stop playback for this multi file; "},
};

class Playback : public testing::Test {
 protected:
  Playback() {
    Description wanted("up_0_3.multi");
    image_ = wanted.open("r");
    image_->info.frame_count = 1;
  }
  ~Playback() override { ORB_close(image_); }

  void fill_slots() {
    for (const Row& row : kRows) {
      if (row.slot) image_->*row.slot = record;
    }
    image_->playback_params = record;
    image_->playback_play = record;
  }
  void expect_refusals() {
    for (const Row& row : kRows) {
      ReportRecorder recorder;
      seen.clear();
      orb::set_error(ORB_E_DECODE);
      EXPECT_EQ(row.call(image_), -16) << row.refused;
      EXPECT_EQ(orb__err, ORB_E_DECODE) << row.refused;
      EXPECT_EQ(seen, "") << row.refused;
      ASSERT_EQ(recorder.reports.size(), 1U) << row.refused;
      EXPECT_EQ(recorder.reports[0].category, row.category) << row.refused;
      EXPECT_EQ(recorder.reports[0].text,
                std::string("up_0_3.multi: ") + row.refused +
                    "(it is not a multiframe file, or this function is unsupported for this file type)");
    }
  }

  Plugins plugins_{"multi"};
  ORB_IMAGE* image_ = nullptr;
};

TEST_F(Playback, calls_reach_the_drivers_function_of_the_same_name_unchanged) {
  fill_slots();
  ReportRecorder recorder;
  for (const Row& row : kRows) {
    for (const Row& other : kRows) {  // no other slot would do
      if (other.slot) image_->*other.slot = nullptr;
    }
    if (row.slot) image_->*row.slot = record;
    EXPECT_EQ(row.call(image_), 41) << row.refused;
    EXPECT_EQ(seen, row.passed) << row.refused;
    EXPECT_EQ(seen_data, image_->driver->data) << row.refused;
  }
  EXPECT_EQ(recorder.texts(), "");
}

TEST_F(Playback, is_refused_without_the_function_or_without_frames) {
  expect_refusals();
  fill_slots();
  for (const int32_t frame_count : {0, -1}) {
    image_->info.frame_count = frame_count;
    expect_refusals();
  }
  ReportRecorder recorder;
  for (const Row& row : kRows) EXPECT_EQ(row.call(nullptr), -16);
  EXPECT_EQ(recorder.texts(), "");
}

ORB_IMAGE* playing = nullptr;

TEST_F(Playback, is_stopped_by_another_thread_and_moves_by_set_frame_meanwhile) {
  fill_slots();
  playing = image_;
  image_->playback_play = [](void*, intptr_t, intptr_t, intptr_t, uint8_t, intptr_t) {
    int32_t results[2] = {};
    std::thread([&] { results[0] = ORB_playback_stop(playing, 0, 0, 0); }).join();
    results[1] = ORB_set_frame(playing, 2, 0, 0);
    return results[0] + results[1];
  };
  EXPECT_EQ(ORB_playback_play(image_, 0, 0, 0, 0, 0), 82);
}

}  // namespace
