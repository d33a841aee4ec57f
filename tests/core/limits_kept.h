// What every driver does with the limits of memory.
#pragma once

#include <gtest/gtest.h>

#include "tests/core/picture.h"
#include "tests/support/limit_setting.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {

// Wherever a limit bites, it is reported once; from so many bytes on all is well.
inline void expect_limits_kept(const Picture& picture, uint64_t enough) {
  for (const bool is_writing : {false, true}) {
    for (const int32_t which : {ORB_LIMIT_BUFFER, ORB_LIMIT_HANDLE}) {
      ASSERT_EQ(write_whole(picture), 0);
      for (uint64_t bytes = 16; bytes < 2 * enough; bytes += bytes / 4) {
        ReportRecorder recorder;
        const LimitSetting limit(which, bytes);
        const std::string result =
            is_writing ? "code " + std::to_string(write_whole(picture)) : compare_whole(picture);
        const bool is_refused = result.ends_with("code -10");
        EXPECT_TRUE(is_refused ? bytes < enough : result.empty() || result == "code 0") << bytes << result;
        EXPECT_EQ(recorder.reports.size(), is_refused ? 1U : 0U) << bytes << recorder.texts();
      }
    }
  }
}

}  // namespace orb::testing
